// Requests through the library (framed, scrambled, passed to the system), one by one and in batches, compared
// with the same bytes through a bare blocking socket. The server's end is emptied between the slices by the
// thread that sends, so that no send ever wakes a receiver: all are in that one state.
//   bench_sends              all ways by turns
//   bench_sends count WHO N  N sends of one way, for a tool that counts system calls
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <asio.hpp>
#include <cstdlib>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "Allocations.h"
#include "Loopback.h"
#include "Rows.h"
#include "vekapi/VekClient.h"
#include "vekapi/VekFlowCtrlSender.h"

namespace {

using asio::ip::tcp;

constexpr int kSends = 4;      // 432 bytes; from 536 on the receiver may acknowledge at once
constexpr int kCounted = 250;  // so that emptying the server's end hardly counts
constexpr int kOrders = 100;

struct ReadyHandler : VekApi::VekClientHandlerBase {
  std::promise<void> ready;
  void OnVekApReadyEvent(VekApi::VekClient&) override { ready.set_value(); }
};

constexpr std::size_t kSegmentsOut =
    136 / sizeof(std::uint32_t);  // linux/tcp.h: tcpi_segs_out, and tcpi_segs_in

class Server {
 public:
  tcp::endpoint Endpoint() const { return acceptor_.local_endpoint(); }
  void Accept(bool greets) {
    thread_ = std::thread([this, greets] { socket_ = loopback::Accept(acceptor_, greets); });
  }
  void Accepted() { thread_.join(); }
  // Reads all that has been sent, on loopback as soon as the send returns, and acknowledges it; then nothing
  // is acknowledged until the next time.
  void Empty() {
    while (socket_.available() != 0) socket_.read_some(asio::buffer(buffer_));
    for (const int atOnce : {1, 0}) {
      setsockopt(socket_.native_handle(), IPPROTO_TCP, TCP_QUICKACK, &atOnce, sizeof atOnce);
    }
  }
  // The packets that have come, and those that acknowledged some. A send that the system keeps back, because
  // too many are not acknowledged, costs half of one that it passes on; an acknowledgement costs the sender
  // seven tenths of a send.
  std::uint32_t Packets() {
    std::uint32_t info[64] = {};  // the C library's struct tcp_info ends before it
    socklen_t size = sizeof info;
    getsockopt(socket_.native_handle(), IPPROTO_TCP, TCP_INFO, info, &size);
    return info[kSegmentsOut] + info[kSegmentsOut + 1];
  }

 private:
  asio::io_context io_;
  tcp::acceptor acceptor_{io_, tcp::endpoint(asio::ip::address_v4::loopback(), 0)};
  tcp::socket socket_{io_};
  std::string buffer_ = std::string(1 << 16, '\0');
  std::thread thread_;
};

class Ours {
 public:
  Ours() {
    server.Accept(true);
    client.Connect("127.0.0.1:" + std::to_string(server.Endpoint().port()), "bench", "1", "", "", "");
    handler_.ready.get_future().wait();
    server.Accepted();
  }
  void Send(int code, const std::string& request) {
    buffer_ = request;  // a send modifies its buffer
    if (!client.SendVekRequest(code, buffer_.data(), static_cast<unsigned>(buffer_.size()))) std::exit(3);
  }

 private:
  ReadyHandler handler_;
  std::string buffer_;

 public:
  Server server;
  VekApi::VekClient client{handler_};
};

class Bare {
 public:
  Bare() {
    server.Accept(false);
    socket_.connect(server.Endpoint());
    socket_.set_option(tcp::no_delay(true));
    server.Accepted();
  }
  void Send(const std::string& request) {
    buffer_ = request;
    const ssize_t sent = send(socket_.native_handle(), buffer_.data(), buffer_.size(), MSG_NOSIGNAL);
    if (sent != static_cast<ssize_t>(buffer_.size())) std::exit(3);
  }

 private:
  asio::io_context io_;
  tcp::socket socket_{io_};
  std::string buffer_;

 public:
  Server server;
};

// A slice, after which the server's end is emptied. `each` is what one call of `act` sends.
template <class TAct>
rows::Way Emptied(const char* who, Server& server, int count, int each, TAct act) {
  return {who, [&server, count, each, act](rows::Series& series) {
            const std::uint32_t before = server.Packets();
            const double start = rows::ThreadNs();
            for (int i = 0; i < count; ++i) act();
            const double took = rows::ThreadNs() - start;
            series.EndIn(static_cast<double>(server.Packets() - before) / count, took / count / each);
            server.Empty();
          }};
}

void Count(const rows::Way& way, int count) {
  rows::Series series("", "", "");
  series.Reserve(1 + static_cast<std::size_t>(count / kCounted), 0);
  way.slice(series);  // fills what is kept
  const std::size_t before = Allocations();
  for (int sent = 0; sent < count; sent += kCounted) way.slice(series);
  rows::Counted("send: allocations", way.who, "each", static_cast<double>(Allocations() - before) / count);
}

}  // namespace

int main(int argc, char** argv) {
  Ours ours;
  Bare bare;
  const std::string request = loopback::RequestPacket();
  const int sends = argc == 4 ? kCounted : kSends;
  const std::vector<rows::Way> ways{Emptied("ours", ours.server, sends, 1, [&] { ours.Send(150, request); }),
                                    Emptied("bare", bare.server, sends, 1, [&] { bare.Send(request); })};
  if (argc == 4) {
    for (const rows::Way& way : ways) {
      if (way.who == argv[2]) return Count(way, std::atoi(argv[3])), 0;
    }
    return 2;
  }
  rows::ByTurns("send", "ns", 10'000, ways);

  VekApi::VekFlowCtrlSender sender(ours.client);
  sender.SetFlowCtrl(2'000'000'000, 1);
  const std::string order = "W0000001 new\nacc=9800001 prod=TXF side=B qty=3 price=18250";
  const std::deque<std::string> orders(kOrders, order);
  rows::ByTurns("order in a batch of 100", "ns", 1000,
                {Emptied("ours", ours.server, 1, kOrders,
                         [&] {
                           if (sender.SendVekRequests(orders) != kOrders) std::exit(3);
                           sender.SetAckTime(2'000'000'000);
                         }),
                 Emptied("one by one", ours.server, kSends, 1, [&] { ours.Send(129, "....." + order); })});
}
