#include "vekdump/Proxy.h"

#include <fmt/core.h>

#include <asio.hpp>
#include <chrono>
#include <csignal>
#include <list>
#include <stdexcept>

#include "vekdump/ProxyLink.h"

namespace VekDump {
namespace {

using asio::ip::tcp;

// Host and port; the host defaults to this machine.
std::pair<std::string, std::string> Divide(const std::string& server) {
  const std::size_t colon = server.rfind(':');
  std::string host = colon == std::string::npos ? "127.0.0.1" : server.substr(0, colon);
  const std::string port = server.substr(colon + 1);
  if (host.size() > 1 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
  const bool isNumber =
      !port.empty() && port.size() < 6 && port.find_first_not_of("0123456789") == std::string::npos;
  if (host.empty() || !isNumber || std::stoul(port) == 0 || std::stoul(port) > 65535)
    throw std::invalid_argument("\"" + server + "\" is no HOST:PORT");
  return {host, port};
}

tcp::acceptor ListenOn(asio::io_context& io, const std::string& address, std::uint16_t port) try {
  return {io, {asio::ip::make_address(address), port}};
} catch (const std::exception& error) {
  throw std::runtime_error(fmt::format("cannot listen on {}:{}: {}", address, port, error.what()));
}

}  // namespace

class Proxy::Impl {
 public:
  Impl(const std::string& address, std::uint16_t port, const std::string& server, LinkEvents& events)
      : server_(Divide(server)), events_(events), acceptor_(ListenOn(io_, address, port)) {
    Accept();
  }

  std::uint16_t Port() const { return acceptor_.local_endpoint().port(); }

  void Run(bool untilInterrupted) {
    asio::signal_set signals(io_);
    if (untilInterrupted) {
      signals.add(SIGINT);
      signals.add(SIGTERM);
      signals.async_wait([this](const asio::error_code& error, int) {
        if (!error) End();
      });
    }
    io_.run();
  }

  void Stop() {
    asio::post(io_, [this] { End(); });
  }

 private:
  void Accept() {
    acceptor_.async_accept([this](const asio::error_code& error, tcp::socket socket) {
      if (!acceptor_.is_open()) return;
      if (error) return AcceptLater();
      Begin(std::move(socket));
      Accept();
    });
  }

  // Out of descriptors, for example: a retry at once would fail too.
  void AcceptLater() {
    pause_.expires_after(std::chrono::milliseconds(100));
    pause_.async_wait([this](const asio::error_code& error) {
      if (!error) Accept();
    });
  }

  void Begin(tcp::socket client) {
    const auto link = std::make_shared<ProxyLink>(io_, std::move(client), ++count_, events_);
    links_.remove_if([](const std::weak_ptr<ProxyLink>& other) { return other.expired(); });
    links_.push_back(link);
    link->Connect(server_.first, server_.second);
  }

  void End() {
    asio::error_code ignored;
    acceptor_.close(ignored);
    for (const auto& weak : links_) {
      if (const auto link = weak.lock()) link->End("vekdump ended");
    }
    io_.stop();
  }

  const std::pair<std::string, std::string> server_;
  LinkEvents& events_;
  asio::io_context io_{1};
  tcp::acceptor acceptor_;
  asio::steady_timer pause_{io_};
  std::list<std::weak_ptr<ProxyLink>> links_;
  std::uint32_t count_ = 0;
};

Proxy::Proxy(const std::string& listenAddress, std::uint16_t listenPort, const std::string& server,
             LinkEvents& events)
    : impl_(std::make_unique<Impl>(listenAddress, listenPort, server, events)) {}

Proxy::~Proxy() = default;

std::uint16_t Proxy::Port() const {
  return impl_->Port();
}

void Proxy::Run(bool untilInterrupted) {
  impl_->Run(untilInterrupted);
}

void Proxy::Stop() {
  impl_->Stop();
}

}  // namespace VekDump
