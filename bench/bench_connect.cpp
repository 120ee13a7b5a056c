// From connecting to ready, beside a bare connect with the same two exchanges in a new thread; the memory of
// idle sessions; and the time of loading the library given as argument.
#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <memory>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include "Forked.h"
#include "Rows.h"
#include "vekapi/VekClient.h"

namespace {

using loopback::tcp;

constexpr int kSessions = 1000;
constexpr int kResults = 16;  // of 4 KB, in a burst
constexpr int kCalm = 10;     // small results after it

struct Handler : VekApi::VekClientHandlerBase {
  std::counting_semaphore<> events{0};
  void OnVekApReadyEvent(VekApi::VekClient&) override { events.release(); }
  void OnVekTaskResultEvent(VekApi::VekClient&, const VekApi::VekTaskResult&) override { events.release(); }
};

double MicrosecondsSince(rows::Clock::time_point start) {
  return std::chrono::duration<double, std::micro>(rows::Clock::now() - start).count();
}

double Connect(const Forked& server) {
  Handler handler;
  const auto start = rows::Clock::now();
  VekApi::VekClient client(handler);
  client.Connect(server.Setting(), "bench", "1", "", "", "");
  handler.events.acquire();
  return MicrosecondsSince(start);
}

double ConnectBare(const Forked& server) {
  double took = 0;
  const auto start = rows::Clock::now();
  std::thread([&] {
    asio::io_context io;
    tcp::socket socket(io);
    socket.connect(server.Endpoint());
    socket.set_option(tcp::no_delay(true));
    char buffer[4096];
    for (int exchange = 0; exchange < 2; ++exchange) {
      asio::write(socket, asio::buffer(buffer, 64));
      socket.read_some(asio::buffer(buffer));
    }
    took = MicrosecondsSince(start);
  }).join();
  return took;
}

// One session after the other, each until its client disconnects.
void GreetAll(tcp::acceptor& acceptor) {
  for (;;) {
    char buffer[64];
    asio::error_code left;
    tcp::socket socket = loopback::Accept(acceptor, true);
    while (!left) socket.read_some(asio::buffer(buffer), left);
  }
}

// Signs all sessions on; when the last of them asks, each gets results, and small ones whenever it asks
// again.
void Burst(tcp::acceptor& acceptor) {
  std::string buffer;
  const std::string text = "\x02Orders\n\x03Text\n" + std::string(4000, 'x') + "\n";
  const std::string packet = vektest::Scrambled(vektest::TaskResult("W1", text), loopback::kKey);
  std::string burst;
  for (int i = 0; i < kResults; ++i) burst += packet;
  std::vector<tcp::socket> sockets;
  for (int i = 0; i < kSessions; ++i) sockets.push_back(loopback::Accept(acceptor, true));
  for (std::string answer = burst;; answer = loopback::Answer()) {
    loopback::ReadExactly(sockets.back(), buffer, loopback::RequestPacket().size());
    for (tcp::socket& socket : sockets) asio::write(socket, asio::buffer(answer));
  }
}

// What no other process shares.
double OwnKiB() {
  std::ifstream file("/proc/self/smaps_rollup");
  double sum = 0, number = 0;
  for (std::string word; file >> word;) {
    if ((word == "Private_Clean:" || word == "Private_Dirty:") && file >> number) sum += number;
  }
  return sum;
}

void IdleMemory(const Forked& server) {
  if (!rows::Wanted("idle session, new")) return;
  rlimit files{};
  getrlimit(RLIMIT_NOFILE, &files);
  files.rlim_cur = files.rlim_max;
  setrlimit(RLIMIT_NOFILE, &files);
  Handler handler;
  const double before = OwnKiB();
  std::deque<VekApi::VekClient> clients;
  for (int i = 0; i < kSessions; ++i) {
    clients.emplace_back(handler).Connect(server.Setting(), "bench", "1", "", "", "");
    handler.events.acquire();
  }
  rows::Counted("idle session, new", "ours", "KiB", (OwnKiB() - before) / kSessions);
  const auto ask = [&](int results) {
    std::string request = loopback::RequestPacket();
    clients.back().SendVekRequest(150, request.data(), static_cast<unsigned>(request.size()));
    for (int i = 0; i < kSessions * results; ++i) handler.events.acquire();
  };
  ask(kResults);
  for (int i = 0; i < kCalm; ++i) {
    ask(1);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  rows::Counted("idle session, after a burst", "ours", "KiB", (OwnKiB() - before) / kSessions);
}

// In a new process each, which has the C++ library already.
rows::Way Loading(const char* path) {
  return {"ours", [path](rows::Series& series) {
            int ends[2];
            if (pipe(ends) != 0) std::exit(4);
            const pid_t child = fork();
            if (child == 0) {
              const auto start = rows::Clock::now();
              const bool loaded = dlopen(path, RTLD_NOW | RTLD_LOCAL) != nullptr;
              double took = std::chrono::duration<double, std::milli>(rows::Clock::now() - start).count();
              if (!loaded) took = -1;
              _exit(write(ends[1], &took, sizeof took) == sizeof took ? 0 : 1);
            }
            double took = -1;
            if (read(ends[0], &took, sizeof took) != sizeof took || took < 0) std::exit(4);
            waitpid(child, nullptr, 0);
            close(ends[0]), close(ends[1]);
            series.EndIn(0, took);
          }};
}

rows::Way Connecting(const char* who, double (*connect)(const Forked&), const Forked& server) {
  return {who, [connect, &server](rows::Series& series) {
            const double took = connect(server);
            series.Call(took);
            series.EndIn(0, took);
          }};
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1) rows::ByTurns("load of the library", "ms", 30, {Loading(argv[1])});
  const Forked ours(&GreetAll), bare(&GreetAll), burst(&Burst);
  Handler handler;
  const VekApi::VekClient another(handler);  // the first client of a program starts the library's own threads
  rows::ByTurns("connect to ready", "us", 1000,
                {Connecting("ours", &Connect, ours), Connecting("bare", &ConnectBare, bare)});
  IdleMemory(burst);
  std::fflush(nullptr);
  std::_Exit(0);
}
