// Request to result over loopback: the same bytes through the whole library (framed, scrambled, sent,
// received, split, descrambled, parsed, delivered to the handler, which sends the next), through bare
// blocking sockets, through Asio's callbacks, and what other libraries do for such a trip.
//   bench_roundtrip              all ways by turns
//   bench_roundtrip spin         both ends poll, each on a processor of its own
//   bench_roundtrip count WHO N  N trips of one way, for a tool that counts system calls
#include <sched.h>
#include <sys/socket.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <semaphore>
#include <string>
#include <thread>

#include "Allocations.h"
#include "Loopback.h"
#include "Trips.h"
#include "vekapi/VekClient.h"

namespace {

using asio::ip::tcp;
using rows::Clock;

constexpr int kTrips = 100;
constexpr int kSpinUs = 200;

void PinTo(unsigned processor) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(processor, &set);
  if (sched_setaffinity(0, sizeof set, &set) != 0) std::perror("sched_setaffinity");
}

// Reads that much; polls for `spinUs` before it sleeps. False if the peer has disconnected.
bool Read(int socket, char* buffer, std::size_t count, int spinUs) {
  const auto start = spinUs ? Clock::now() : Clock::time_point();
  for (std::size_t have = 0; have < count;) {
    const bool polls = spinUs != 0 && MicrosecondsSince(start) < spinUs;
    const ssize_t got = recv(socket, buffer + have, count - have, polls ? MSG_DONTWAIT : 0);
    if (got == 0 || (got < 0 && errno != EAGAIN)) return false;
    if (got > 0) have += static_cast<std::size_t>(got);
  }
  return true;
}

void Write(int socket, const std::string& bytes) {
  if (send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size())) {
    std::exit(3);
  }
}

// Answers every request until the peer disconnects; the last processor is left to the client if it polls.
class Server {
 public:
  explicit Server(bool greets, int spinUs = 0)
      : acceptor_(io_, tcp::endpoint(asio::ip::address_v4::loopback(), 0)), thread_([this, greets, spinUs] {
          if (spinUs) PinTo(0);
          tcp::socket socket = loopback::Accept(acceptor_, greets);
          const std::string answer = loopback::Answer();
          std::string request = loopback::RequestPacket();
          while (Read(socket.native_handle(), request.data(), request.size(), spinUs)) {
            Write(socket.native_handle(), answer);
          }
        }) {}
  ~Server() { thread_.join(); }
  tcp::endpoint Endpoint() const { return acceptor_.local_endpoint(); }

 private:
  asio::io_context io_;
  tcp::acceptor acceptor_;
  std::thread thread_;
};

// Each round trip is started inside the event of the previous one, like an application reacting to the
// market.
class Ours : public Trips, VekApi::VekClientHandlerBase {
 public:
  explicit Ours(int spinUs = 0) : server_(true, spinUs), client_(*this) {
    const std::string options = spinUs ? " n M0 spin=" + std::to_string(spinUs) : " n M0";
    client_.Connect(":TCPClient:127.0.0.1:" + std::to_string(server_.Endpoint().port()) + options, "bench",
                    "1", "", "", "");
    done_.acquire();
  }
  ~Ours() override { client_.Disconnect(); }

  void Run(int count, rows::Series& series) override {
    left_ = count, series_ = &series;
    Ping();
    done_.acquire();
  }

 private:
  void OnVekConnectEvent(VekApi::VekClient& client, const std::string& reason) override {
    if (client.State() >= 0 || client.State() == VekApi::vcs_Disconnected) return;
    std::fprintf(stderr, "link lost: %s\n", reason.c_str());
    std::exit(1);
  }
  void OnVekApReadyEvent(VekApi::VekClient&) override { done_.release(); }
  void OnVekTaskResultEvent(VekApi::VekClient&, const VekApi::VekTaskResult& result) override {
    if (result.TableCount() != 1) std::exit(2);
    series_->Call(MicrosecondsSince(start_));
    if (--left_ > 0) return Ping();
    done_.release();
  }
  void Ping() {
    request_ = original_;
    start_ = Clock::now();
    if (!client_.SendVekRequest(150, request_.data(), static_cast<unsigned>(request_.size()))) std::exit(3);
  }

  Server server_;
  std::binary_semaphore done_{0};
  const std::string original_ = loopback::RequestPacket();
  std::string request_;
  int left_ = 0;
  rows::Series* series_ = nullptr;
  Clock::time_point start_;
  VekApi::VekClient client_;
};

// In a thread of its own, as the library's end is: a thread that slept before its slice costs the system more
// to wake all through the slice than one that was at work.
class BareSockets : public Trips {
 public:
  explicit BareSockets(int spinUs = 0) : server_(false, spinUs), spinUs_(spinUs), socket_(io_) {
    socket_.connect(server_.Endpoint());
    socket_.set_option(tcp::no_delay(true));
    thread_ = std::thread([this] { Work(); });
  }
  ~BareSockets() override {
    left_ = 0;
    begin_.release();
    thread_.join();
  }
  void Run(int count, rows::Series& series) override {
    left_ = count, series_ = &series;
    begin_.release();
    done_.acquire();
  }

 private:
  void Work() {
    for (begin_.acquire(); left_ > 0; begin_.acquire()) {
      while (left_-- > 0) {
        const auto start = Clock::now();
        Write(socket_.native_handle(), request_);
        if (!Read(socket_.native_handle(), answer_.data(), answer_.size(), spinUs_)) std::exit(1);
        series_->Call(MicrosecondsSince(start));
      }
      done_.release();
    }
  }

  Server server_;
  const int spinUs_;
  asio::io_context io_;
  tcp::socket socket_;
  const std::string request_ = loopback::RequestPacket();
  std::string answer_ = loopback::Answer();
  std::binary_semaphore begin_{0}, done_{0};
  int left_ = 0;
  rows::Series* series_ = nullptr;
  std::thread thread_;
};

// The client's end by Asio's callbacks.
class Asio : public Trips {
 public:
  Asio() : socket_(io_) {
    socket_.connect(server_.Endpoint());
    socket_.set_option(tcp::no_delay(true));
  }
  void Run(int count, rows::Series& series) override {
    left_ = count, series_ = &series;
    Ping();
    io_.restart();
    io_.run();
  }

 private:
  void Ping() {
    start_ = Clock::now();
    asio::async_write(socket_, asio::buffer(request_), [this](asio::error_code, std::size_t) {
      asio::async_read(socket_, asio::buffer(answer_), [this](asio::error_code, std::size_t) {
        series_->Call(MicrosecondsSince(start_));
        if (--left_ > 0) Ping();
      });
    });
  }

  Server server_{false};
  asio::io_context io_{1};
  tcp::socket socket_;
  const std::string request_ = loopback::RequestPacket();
  std::string answer_ = loopback::Answer();
  int left_ = 0;
  rows::Series* series_ = nullptr;
  Clock::time_point start_;
};

template <class TWay, int... kArguments>
std::unique_ptr<Trips> Make() {
  return std::make_unique<TWay>(kArguments...);
}

void Compare(const std::string& work, int slices, const std::vector<TripsPeer>& peers) {
  std::vector<std::unique_ptr<Trips>> trips;
  std::vector<rows::Way> ways;
  for (const TripsPeer& peer : peers) {
    Trips* const made = trips.emplace_back(peer.make()).get();
    ways.push_back({peer.who, [made](rows::Series& series) {
                      made->Run(kTrips, series);
                      series.End();
                    }});
  }
  rows::ByTurns(work, "us", slices, ways);
}

// The first trips fill what is kept.
int Count(const TripsPeer& peer, int count) {
  const auto trips = peer.make();
  rows::Series series("", "", "");
  series.Reserve(0, 1000 + static_cast<std::size_t>(count));
  trips->Run(1000, series);
  const std::size_t before = Allocations();
  trips->Run(count, series);
  rows::Counted("round trip: allocations", peer.who, "each",
                static_cast<double>(Allocations() - before) / count);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "spin") == 0) {
    PinTo(std::thread::hardware_concurrency() - 1);
    Compare("round trip, polling", 100,
            {{"ours", &Make<Ours, kSpinUs>}, {"bare", &Make<BareSockets, kSpinUs>}});
    return 0;
  }
  std::vector<TripsPeer> peers{{"ours", &Make<Ours>}, {"bare", &Make<BareSockets>}, {"Asio", &Make<Asio>}};
  peers.insert(peers.end(), TripsPeers().begin(), TripsPeers().end());
  if (argc != 4) return Compare("round trip", 200, peers), 0;
  for (const TripsPeer& peer : peers) {
    if (std::strcmp(peer.who, argv[2]) == 0) return Count(peer, std::atoi(argv[3]));
  }
  std::fprintf(stderr, "no such way: %s\n", argv[2]);
  return 2;
}
