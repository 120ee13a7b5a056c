#include "sim/SimGateway.h"

#include <asio.hpp>
#include <iomanip>
#include <map>
#include <mutex>
#include <random>
#include <sstream>
#include <thread>
#include <utility>

#include "sim/SimGatewayLink.h"
#include "sim/SimListen.h"

namespace VekSim {

using asio::ip::tcp;

namespace {

/// Anyone who knows the name of the rings can read them.
std::string Unguessable() {
  std::random_device random;
  std::ostringstream text;
  text << std::hex << std::setfill('0');
  for (int i = 0; i < 4; ++i) text << std::setw(8) << random();
  return text.str();
}

}  // namespace

class SimGateway::Impl {
 public:
  explicit Impl(SimGatewayConfig config)
      : config_(std::move(config)), names_(config_.namePrefix + "-" + Unguessable() + "-"), acceptor_(io_) {
    ListenOn(acceptor_, config_.host, config_.port);
    port_ = acceptor_.local_endpoint().port();
    Accept();
    thread_ = std::thread([this] { io_.run(); });
  }
  ~Impl() { Stop(); }

  void Stop() {
    const std::lock_guard lock(stopping_);
    if (!thread_.joinable()) return;
    asio::post(io_, [this] {
      asio::error_code ignored;
      acceptor_.close(ignored);
      ForEach([](SimGatewayLink& link) { link.Close(); });
    });
    thread_.join();  // run() returns when the last operation has been cancelled
  }

  template <class Action>
  void Post(Action action) {
    asio::post(io_, [this, action] { ForEach(action); });
  }

  std::uint16_t Port() const { return port_; }
  const SimGatewayConfig& Config() const { return config_; }

 private:
  template <class Action>
  void ForEach(Action action) {
    for (const auto& [id, link] : std::map(links_)) action(*link);
  }

  void Accept() {
    acceptor_.async_accept([this](const asio::error_code& error, tcp::socket socket) {
      if (error == asio::error::operation_aborted || !acceptor_.is_open()) return;
      if (!error) Serve(std::move(socket));
      Accept();
    });
  }

  void Serve(tcp::socket socket) {
    const int id = ++lastId_;
    const auto link =
        std::make_shared<SimGatewayLink>(config_, std::move(socket), names_ + std::to_string(id));
    links_[id] = link;
    link->Start([this, id] { links_.erase(id); });
  }

  const SimGatewayConfig config_;
  const std::string names_;
  asio::io_context io_{1};
  tcp::acceptor acceptor_;
  std::uint16_t port_ = 0;
  int lastId_ = 0;
  std::map<int, std::shared_ptr<SimGatewayLink>> links_;
  std::mutex stopping_;
  std::thread thread_;
};

SimGateway::SimGateway(SimGatewayConfig config) : impl_(std::make_unique<Impl>(std::move(config))) {}
SimGateway::~SimGateway() = default;

std::uint16_t SimGateway::Port() const {
  return impl_->Port();
}

std::string SimGateway::Setting() const {
  return ":ShMemCli:TCPClient:" + impl_->Config().host + ":" + std::to_string(Port()) + " n M0";
}

void SimGateway::Stop() {
  impl_->Stop();
}

void SimGateway::DropLinks() {
  impl_->Post([](SimGatewayLink& link) { link.Close(); });
}

}  // namespace VekSim
