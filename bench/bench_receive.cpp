// Reports and small results from a socket, by processor time: through the library beside a bare loop of recv,
// and on a message loop beside on the link's thread, and beside two threads that only hand over to each
// other. For each request the server sends many.
//   bench_receive          all ways by turns
//   bench_receive serve    a server for bench_python.py: prints its port
#include <semaphore.h>
#include <sys/socket.h>
#include <time.h>

#include <cstdio>
#include <cstdlib>
#include <semaphore>
#include <string>
#include <thread>

#include "Allocations.h"
#include "Forked.h"
#include "Rows.h"
#include "vekapi/VekApiC.h"

namespace {

constexpr int kEvents = 1000;
// So many that the request and the wake-ups, some microseconds in all, are no part of what a report costs.
constexpr int kStream = 20'000;
constexpr std::size_t kWarm = 5;
constexpr std::size_t kPieceBytes = 4090;

// Of all threads.
double ProcessorNs() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return 1e9 * static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec);
}

std::string Reports() {
  return vektest::Message(130, "W0000001 fill\nacc=9800001 prod=TXFL6 side=B qty=1 price=17500 no=F0012345");
}

std::string Many(int count, const std::string& packet) {
  std::string all;
  for (int i = 0; i < count; ++i) all += vektest::Scrambled(packet, loopback::kKey);
  return all;
}

class Ours {
 public:
  Ours(const Forked& server, bool onLoop, int events) : onLoop_(onLoop), events_(events) {
    static const CVekClientCallbacks callbacks = {
        nullptr,
        [](CVekClient* client, void*, const char* reason) {
          if (CVekClient_State(client) < cvcs_Disconnected)
            std::fprintf(stderr, "%s\n", reason), std::exit(1);
        },
        [](CVekClient*, void* self) { static_cast<Ours*>(self)->Ready(); },
        [](CVekClient*, void* self, const CVekTaskResult*) { static_cast<Ours*>(self)->Happened(); },
        nullptr,
        nullptr,
        [](CVekClient*, void* self, const char*) { static_cast<Ours*>(self)->Happened(); },
        nullptr};
    client_ =
        onLoop ? CVekClient_Create_OnMessageLoop(&callbacks, this) : CVekClient_Create(&callbacks, this);
    CVekClient_Connect(&client_, server.Setting().c_str(), "bench", "1", "", "", "");
    Wait();
  }
  ~Ours() { CVekClient_Delete(&client_); }

  void Slice(rows::Series& series) {
    std::string request = loopback::RequestPacket();
    const double start = ProcessorNs();
    const std::size_t before = Allocations();
    if (!CVekClient_SendVekRequest(&client_, 150, request.data(), static_cast<unsigned>(request.size()))) {
      std::exit(3);
    }
    Wait();
    if (++slices_ > kWarm) allocations_ += Allocations() - before;
    series.EndIn(0, (ProcessorNs() - start) / events_);
  }
  // How many for each event.
  double AllocationsEach() const {
    return static_cast<double>(allocations_) / (static_cast<double>(slices_ - kWarm) * events_);
  }

 private:
  void Ready() {
    left_ = 0;
    done_.release();
  }
  void Happened() {
    if (--left_ == 0) done_.release();
  }
  void Wait() {
    while (onLoop_ && left_ > 0) CVekMessageLoop_Dispatch(-1);
    done_.acquire();
    left_ = events_;
  }

  const bool onLoop_;
  const int events_;
  CVekClient client_{};
  std::binary_semaphore done_{0};
  int left_ = 1;
  std::size_t slices_ = 0, allocations_ = 0;
};

rows::Way Bare(const Forked& server, std::size_t answerBytes) {
  static asio::io_context io;
  auto socket = std::make_shared<loopback::tcp::socket>(io);
  socket->connect(server.Endpoint());
  return {"bare", [socket, answerBytes](rows::Series& series) {
            static std::string buffer(1 << 16, '\0');
            const double start = ProcessorNs();
            asio::write(*socket, asio::buffer(loopback::RequestPacket()));
            for (std::size_t have = 0; have < answerBytes;) {
              const ssize_t got = recv(socket->native_handle(), buffer.data(), buffer.size(), 0);
              if (got <= 0) std::exit(1);
              have += static_cast<std::size_t>(got);
            }
            series.EndIn(0, (ProcessorNs() - start) / kStream);
          }};
}

// There and back between two threads: the least that a result costs which its raising thread must wait for.
// POSIX semaphores sleep at once; those of C++ yield to others before.
class HandOver {
 public:
  HandOver() {
    for (sem_t* each : {&there_, &back_}) sem_init(each, 0, 0);
    thread_ = std::thread([this] {
      for (sem_wait(&there_); !over_; sem_wait(&there_)) sem_post(&back_);
    });
  }
  ~HandOver() {
    over_ = true;
    sem_post(&there_);
    thread_.join();
  }

  void Slice(rows::Series& series) {
    const double start = ProcessorNs();
    for (int i = 0; i < kEvents; ++i) {
      sem_post(&there_);
      sem_wait(&back_);
    }
    series.EndIn(0, (ProcessorNs() - start) / kEvents);
  }

 private:
  sem_t there_{}, back_{};
  bool over_ = false;
  std::thread thread_;
};

// The packets of a task result of any length.
std::string LongResult(const std::string& text) {
  std::string message =
      std::string("\x02W1\xFF\xFF", 5) + vektest::U32(static_cast<std::uint32_t>(text.size()), false) + text;
  std::string packets;
  std::size_t at = 0;
  for (; message.size() - at > kPieceBytes; at += kPieceBytes)
    packets += vektest::Message(3, message.substr(at, kPieceBytes));
  return vektest::Scrambled(packets + vektest::Message(128, message.substr(at)), loopback::kKey);
}

std::string Table(int records) {
  std::string text = "\x02Orders\n\x03", record = "F00123456";
  for (int column = 0; column < 20; ++column)
    text += (column ? "\x01"
                      "Col"
                    : "Col") +
            std::to_string(column);
  for (int column = 1; column < 20; ++column)
    record +=
        "\x01"
        "TXFL" +
        std::to_string(column * 997);
  text += '\n';
  for (int i = 0; i < records; ++i) text += record + '\n';
  return text;
}

// Answers a request by the length of its text: 1 a thousand reports, 2 ten records, 3 two hundred thousand.
int Serve() {
  asio::io_context io;
  loopback::tcp::acceptor acceptor(io, {asio::ip::address_v4::loopback(), 0});
  std::printf("%d\n", acceptor.local_endpoint().port());
  std::fflush(stdout);
  loopback::tcp::socket socket = loopback::Accept(acceptor, true);
  const std::string answers[] = {Many(kEvents, Reports()), LongResult(Table(10)), LongResult(Table(200'000))};
  char buffer[64];
  asio::error_code left;
  for (;;) {
    const std::size_t count = socket.read_some(asio::buffer(buffer), left);
    if (left || count < 6 || count > 8) return 0;
    asio::write(socket, asio::buffer(answers[count - 6]), left);
  }
}

template <class TMeasured>
rows::Way Through(const char* who, TMeasured& measured) {
  return {who, [&measured](rows::Series& series) { measured.Slice(series); }};
}

}  // namespace

int main(int argc, char**) {
  if (argc > 1) return Serve();
  const std::string stream = Many(kStream, Reports()), reports = Many(kEvents, Reports()),
                    results = Many(kEvents, vektest::TaskResult("W1", loopback::kResultText));
  const auto serve = [](bool greets, const std::string& answer) {
    return [greets, &answer](loopback::tcp::acceptor& acceptor) {
      loopback::Echo(acceptor, greets, loopback::RequestPacket().size(), answer);
    };
  };
  const Forked servers[] = {Forked(serve(true, stream)),  Forked(serve(false, stream)),
                            Forked(serve(true, reports)), Forked(serve(true, reports)),
                            Forked(serve(true, results)), Forked(serve(true, results))};
  Ours streamed(servers[0], false, kStream), direct(servers[2], false, kEvents),
      looped(servers[3], true, kEvents), result(servers[4], false, kEvents),
      loopedResult(servers[5], true, kEvents);
  HandOver handOver;
  // For up to a thousand slices, by chance, a new link's reports cost 4.7 ns more, those of bare sockets,
  // too.
  rows::ByTurns("report from a socket", "ns", 3000,
                {Through("ours", streamed), Bare(servers[1], stream.size())});
  rows::ByTurns("report on a message loop", "ns", 300, {Through("ours", looped), Through("direct", direct)});
  rows::ByTurns("small result on a message loop", "ns", 100,
                {Through("ours", loopedResult), Through("direct", result), Through("semaphores", handOver)});
  rows::Counted("report on a message loop: allocations", "ours", "each", looped.AllocationsEach());
  rows::Counted("small result on a message loop: allocations", "ours", "each",
                loopedResult.AllocationsEach());
}
