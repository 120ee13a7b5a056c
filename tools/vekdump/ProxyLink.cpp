#include "vekdump/ProxyLink.h"

#include <fmt/core.h>

#include <chrono>
#include <string_view>

namespace VekDump {
namespace {

using asio::ip::tcp;

Moment Now() {
  using namespace std::chrono;
  const auto ns = [](auto since) { return duration_cast<nanoseconds>(since).count(); };
  return {ns(steady_clock::now().time_since_epoch()), ns(system_clock::now().time_since_epoch())};
}

std::string AddressOf(const asio::ip::tcp::socket& socket) {
  asio::error_code error;
  const auto endpoint = socket.remote_endpoint(error);
  if (error) return "?";
  const auto& address = endpoint.address();
  return fmt::format(fmt::runtime(address.is_v6() ? "[{}]:{}" : "{}:{}"), address.to_string(),
                     endpoint.port());
}

const char* Who(Side side) {
  return side == Side::Client ? "client" : "server";
}

}  // namespace

ProxyLink::ProxyLink(asio::io_context& io, tcp::socket client, std::uint32_t number, LinkEvents& events)
    : client_(std::move(client)), server_(io), resolver_(io), number_(number), events_(events) {}

void ProxyLink::Connect(const std::string& host, const std::string& port) {
  const auto self = shared_from_this();
  events_.OnLinkUp(number_, Now(), fmt::format("{} to {}:{}", AddressOf(client_), host, port));
  resolver_.async_resolve(
      host, port, [self](const asio::error_code& error, const tcp::resolver::results_type& found) {
        if (error) return self->End("the server's name cannot be looked up: " + error.message());
        asio::async_connect(self->server_, found,
                            [self](const asio::error_code& failed, const tcp::endpoint&) {
                              if (failed)
                                return self->End("the server cannot be reached: " + failed.message());
                              asio::error_code ignored;
                              for (const Side side : {Side::Client, Side::Server}) {
                                self->Of(side).set_option(tcp::no_delay(true), ignored);
                                self->Pass(side);
                              }
                            });
      });
}

void ProxyLink::Pass(Side from) {
  if (over_) return;
  Of(from).async_read_some(
      asio::buffer(blocks_[from == Side::Client ? 0 : 1]),
      [self = shared_from_this(), from](const asio::error_code& error, std::size_t count) {
        self->OnPart(from, error, count);
      });
}

// Bytes are forwarded before they are examined.
void ProxyLink::OnPart(Side from, const asio::error_code& error, std::size_t count) {
  if (over_) return;
  if (error) return OnEnd(from, error);
  const Moment at = Now();
  const char* const block = blocks_[from == Side::Client ? 0 : 1].data();
  asio::async_write(
      Of(Other(from)), asio::buffer(block, count),
      [self = shared_from_this(), from](const asio::error_code& failed, std::size_t) {
        if (failed && !self->over_)
          return self->End(fmt::format("the {} takes no more: {}", Who(Other(from)), failed.message()));
        self->Pass(from);
      });
  events_.OnBytes(number_, at, from, {block, count}, true);
}

void ProxyLink::OnEnd(Side from, const asio::error_code& error) {
  asio::error_code ignored;
  if (error != asio::error::eof) {
    Of(Other(from)).set_option(tcp::socket::linger(true, 0), ignored);  // forwards a reset as a reset
    return End(fmt::format("broken by the {}: {}", Who(from), error.message()));
  }
  Of(Other(from)).shutdown(tcp::socket::shutdown_send, ignored);
  if (half_) return End(fmt::format("closed by the {}", Who(Other(from))));
  half_ = true;
}

void ProxyLink::End(const std::string& reason) {
  if (over_) return;
  over_ = true;
  asio::error_code ignored;
  resolver_.cancel();
  client_.close(ignored);
  server_.close(ignored);
  events_.OnLinkEnd(number_, Now(), reason);
}

}  // namespace VekDump
