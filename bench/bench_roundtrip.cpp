// Request to result over loopback: the same bytes through the whole library (framed, scrambled, sent,
// received, split, descrambled, parsed, delivered to the handler, which sends the next) and through bare
// blocking sockets. Pin the process to one core for stable figures.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "Loopback.h"
#include "vekapi/VekClient.h"

namespace {

using asio::ip::tcp;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kBatch = 2000;
constexpr std::size_t kBatches = 41;

struct Figures {
  std::vector<double> perTripUs;
  double Median() {
    std::sort(perTripUs.begin(), perTripUs.end());
    return perTripUs[perTripUs.size() / 2];
  }
  void Add(Clock::duration batch) {
    perTripUs.push_back(std::chrono::duration<double, std::micro>(batch).count() / kBatch);
  }
};

// Each round trip is started inside the event of the previous one, like an application reacting to the
// market.
class Pinger : public VekApi::VekClientHandler {
 public:
  std::promise<void> done;
  Figures figures;

  void OnVekConnectEvent(VekApi::VekClient& client, const std::string& reason) override {
    if (client.State() >= 0) return;
    std::fprintf(stderr, "link lost: %s\n", reason.c_str());
    std::exit(1);
  }
  void OnVekApReadyEvent(VekApi::VekClient& client) override { Ping(client); }
  void OnVekTaskResultEvent(VekApi::VekClient& client, const VekApi::VekTaskResult& result) override {
    if (result.TableCount() != 1) std::exit(2);
    if (++trips_ % kBatch == 0) {
      const auto now = Clock::now();
      if (trips_ > kBatch) figures.Add(now - batchStart_);
      batchStart_ = now;
    }
    if (figures.perTripUs.size() < kBatches) return Ping(client);
    done.set_value();
  }
  void OnVekChgPassResultEvent(VekApi::VekClient&, const std::string&, const std::string&) override {}
  void OnVekRequestAckEvent(VekApi::VekClient&, int, const std::string&) override {}
  void OnVekReportEvent(VekApi::VekClient&, const std::string&) override {}
  void OnVekClientDestroyEvent(VekApi::VekClient&) override {}

 private:
  void Ping(VekApi::VekClient& client) {
    request_ = loopback::RequestPacket();
    if (!client.SendVekRequest(150, request_.data(), static_cast<unsigned>(request_.size()))) std::exit(3);
  }

  std::string request_;
  std::size_t trips_ = 0;
  Clock::time_point batchStart_;
};

Figures ThroughLibrary(tcp::acceptor& acceptor, const std::string& options) {
  std::thread server(
      [&] { loopback::Echo(acceptor, true, loopback::RequestPacket().size(), loopback::Answer()); });
  Pinger pinger;
  {
    VekApi::VekClient client(pinger);
    client.Connect(":TCPClient:127.0.0.1:" + std::to_string(acceptor.local_endpoint().port()) + options,
                   "bench", "1", "", "", "");
    pinger.done.get_future().wait();
  }
  server.join();
  return std::move(pinger.figures);
}

Figures ThroughBareSockets(asio::io_context& io, tcp::acceptor& acceptor) {
  const std::string answer = loopback::Answer();
  std::thread server([&] { loopback::Echo(acceptor, false, loopback::RequestPacket().size(), answer); });
  Figures figures;
  {
    tcp::socket socket(io);
    socket.connect(acceptor.local_endpoint());
    socket.set_option(tcp::no_delay(true));
    const std::string request = loopback::RequestPacket();
    std::string buffer;
    while (figures.perTripUs.size() < kBatches) {
      const auto start = Clock::now();
      for (std::size_t i = 0; i < kBatch; ++i) {
        asio::write(socket, asio::buffer(request));
        loopback::ReadExactly(socket, buffer, answer.size());
      }
      figures.Add(Clock::now() - start);
    }
  }
  server.join();
  return figures;
}

}  // namespace

int main() {
  asio::io_context io;
  tcp::acceptor acceptor(io, tcp::endpoint(asio::ip::address_v4::loopback(), 0));
  std::printf("round trip of %zu + %zu bytes, median of %zu batches of %zu\n",
              loopback::RequestPacket().size(), loopback::Answer().size(), kBatches, kBatch);
  for (int round = 0; round < 3; ++round) {
    const double bare = ThroughBareSockets(io, acceptor).Median();
    const double ours = ThroughLibrary(acceptor, " n M0").Median();
    std::printf("bare blocking sockets %6.2f us   library %6.2f us   ratio %.2f (limit 1.30)\n", bare, ours,
                ours / bare);
  }
  return 0;
}
