// Sends per second: requests through the library (framed, scrambled, passed to the system) compared with the
// same bytes through a bare blocking socket, to a server that only reads.
#include <algorithm>
#include <asio.hpp>
#include <chrono>
#include <cstdio>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "Loopback.h"
#include "vekapi/VekClient.h"

namespace {

using asio::ip::tcp;
using Clock = std::chrono::steady_clock;

constexpr int kSends = 200'000;

class ReadyHandler : public VekApi::VekClientHandler {
 public:
  std::promise<void> ready;

  void OnVekConnectEvent(VekApi::VekClient&, const std::string&) override {}
  void OnVekApReadyEvent(VekApi::VekClient&) override { ready.set_value(); }
  void OnVekTaskResultEvent(VekApi::VekClient&, const VekApi::VekTaskResult&) override {}
  void OnVekChgPassResultEvent(VekApi::VekClient&, const std::string&, const std::string&) override {}
  void OnVekRequestAckEvent(VekApi::VekClient&, int, const std::string&) override {}
  void OnVekReportEvent(VekApi::VekClient&, const std::string&) override {}
  void OnVekClientDestroyEvent(VekApi::VekClient&) override {}
};

template <class TSend>
double SendsPerSecond(const TSend& send) {
  const std::string original = loopback::RequestPacket();
  std::string request = original;
  const auto start = Clock::now();
  for (int i = 0; i < kSends; ++i) {
    request = original;
    send(request);
  }
  return kSends / std::chrono::duration<double>(Clock::now() - start).count();
}

double ThroughLibrary(tcp::acceptor& acceptor) {
  std::thread server([&] { loopback::Sink(acceptor, true); });
  ReadyHandler handler;
  double rate = 0;
  {
    VekApi::VekClient client(handler);
    client.Connect("127.0.0.1:" + std::to_string(acceptor.local_endpoint().port()), "bench", "1", "", "", "");
    handler.ready.get_future().wait();
    // A full queue refuses the send; the reader needs processor time then.
    rate = SendsPerSecond([&](std::string& request) {
      while (!client.SendVekRequest(150, request.data(), static_cast<unsigned>(request.size()))) {
        std::this_thread::yield();
      }
    });
  }
  server.join();
  return rate;
}

double ThroughBareSocket(asio::io_context& io, tcp::acceptor& acceptor) {
  std::thread server([&] { loopback::Sink(acceptor, false); });
  double rate = 0;
  {
    tcp::socket socket(io);
    socket.connect(acceptor.local_endpoint());
    socket.set_option(tcp::no_delay(true));
    rate = SendsPerSecond([&](const std::string& request) { asio::write(socket, asio::buffer(request)); });
  }
  server.join();
  return rate;
}

}  // namespace

int main() {
  asio::io_context io;
  tcp::acceptor acceptor(io, tcp::endpoint(asio::ip::address_v4::loopback(), 0));
  std::printf("%d requests of %zu bytes to a server that only reads\n", kSends,
              loopback::RequestPacket().size());
  for (int round = 0; round < 3; ++round) {
    const double bare = ThroughBareSocket(io, acceptor);
    const double ours = ThroughLibrary(acceptor);
    std::printf("bare blocking socket %8.0f/s   library %8.0f/s   ratio %.2f\n", bare, ours, ours / bare);
  }
  return 0;
}
