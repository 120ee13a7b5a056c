// Request to result over loopback: the same bytes through the whole library (framed, scrambled, sent,
// received, cut, descrambled, parsed, delivered to the handler, which sends the next) and through bare
// blocking sockets. Pin the process to one core: there the figures are stable.
#include <algorithm>
#include <asio.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "support/Wire.h"
#include "vekapi/VekClient.h"

namespace {

using asio::ip::tcp;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kBatch = 2000;
constexpr std::size_t kBatches = 41;
const std::string kKey = "0123456789abcdef";
const std::string kRequestText = "W1 Query\nproduct=TXFL6 " + std::string(80, 'q');
const std::string kResultText =
    "\x02Orders\n\x03No\x01Product\x01Side\x01Price\x01Qty\n0001\x01TXFL6\x01"
    "B\x01"
    "17500\x01"
    "2\n";

std::string Answer() {
  return vektest::Scrambled(vektest::TaskResult("W1", kResultText), kKey);
}

void ReadExactly(tcp::socket& socket, std::string& buffer, std::size_t count) {
  buffer.resize(std::max(buffer.size(), count));
  for (std::size_t have = 0; have < count;) {
    have += socket.read_some(asio::buffer(buffer.data() + have, count - have));
  }
}

// Plays the handshake when asked to, then answers each `requestBytes` with `answer` until the peer leaves.
void Serve(tcp::acceptor& acceptor, bool handshake, std::size_t requestBytes, const std::string& answer) {
  tcp::socket socket = acceptor.accept();
  socket.set_option(tcp::no_delay(true));
  std::string buffer(65536, '\0');
  if (handshake) {
    socket.read_some(asio::buffer(buffer));
    asio::write(socket,
                asio::buffer(vektest::ConnectResult(false, {{"VekEnc\n", vektest::EncItem(1, kKey)}})));
    socket.read_some(asio::buffer(buffer));
    asio::write(socket, asio::buffer(vektest::Scrambled(vektest::SgnResult(), kKey)));
  }
  try {
    for (;;) {
      ReadExactly(socket, buffer, requestBytes);
      asio::write(socket, asio::buffer(answer));
    }
  } catch (const std::system_error&) {  // the peer has left
  }
}

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

// Each trip is started inside the event of the one before, as an application that reacts to the market does
// it.
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
    request_.assign(5, '\0');
    request_ += kRequestText;
    if (!client.SendVekRequest(150, request_.data(), static_cast<unsigned>(request_.size()))) std::exit(3);
  }

  std::string request_;
  std::size_t trips_ = 0;
  Clock::time_point batchStart_;
};

Figures ThroughLibrary(tcp::acceptor& acceptor, const std::string& options) {
  std::thread server([&] { Serve(acceptor, true, kRequestText.size() + 5, Answer()); });
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
  const std::string answer = Answer();
  std::thread server([&] { Serve(acceptor, false, kRequestText.size() + 5, answer); });
  Figures figures;
  {
    tcp::socket socket(io);
    socket.connect(acceptor.local_endpoint());
    socket.set_option(tcp::no_delay(true));
    const std::string request(kRequestText.size() + 5, 'q');
    std::string buffer;
    while (figures.perTripUs.size() < kBatches) {
      const auto start = Clock::now();
      for (std::size_t i = 0; i < kBatch; ++i) {
        asio::write(socket, asio::buffer(request));
        ReadExactly(socket, buffer, answer.size());
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
  std::printf("round trip of %zu + %zu bytes, median of %zu batches of %zu\n", kRequestText.size() + 5,
              Answer().size(), kBatches, kBatch);
  for (int round = 0; round < 3; ++round) {
    const double bare = ThroughBareSockets(io, acceptor).Median();
    const double ours = ThroughLibrary(acceptor, " n M0").Median();
    std::printf("bare blocking sockets %6.2f us   library %6.2f us   ratio %.2f (limit 1.30)\n", bare, ours,
                ours / bare);
  }
  return 0;
}
