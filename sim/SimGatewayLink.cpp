#include "sim/SimGatewayLink.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace VekSim {

using asio::ip::tcp;

SimGatewayLink::SimGatewayLink(const SimGatewayConfig& config, tcp::socket proxy, std::string baseName)
    : config_(config),
      baseName_(std::move(baseName)),
      proxy_(std::move(proxy)),
      upstream_(proxy_.get_executor()) {}

void SimGatewayLink::Start(std::function<void()> closed) {
  closed_ = std::move(closed);
  asio::error_code ignored;
  proxy_.set_option(tcp::no_delay(true), ignored);
  ReadProxy();
}

void SimGatewayLink::Log(const std::string& line) const {
  if (config_.log) config_.log(baseName_ + ": " + line);
}

// ---- the proxy link ----

void SimGatewayLink::ReadProxy() {
  proxy_.async_read_some(asio::buffer(chunk_),
                         [self = shared_from_this()](const asio::error_code& error, std::size_t count) {
                           if (!self->open_) return;
                           if (error) return self->Finish();
                           for (std::size_t i = 0; i < count && self->open_; ++i) {
                             if (self->chunk_[i] == '\n') {
                               self->OnProxyLine(std::exchange(self->line_, {}));
                             } else {
                               self->line_ += self->chunk_[i];
                             }
                           }
                           if (self->line_.size() > 4096) self->line_.clear();
                           if (self->open_) self->ReadProxy();
                         });
}

void SimGatewayLink::OnProxyLine(const std::string& line) {
  if (line == "Req:ShMemName" && rings_.BaseName().empty()) OpenRings();
  if (line.rfind("Hb:", 0) == 0) Answer("Hb:\n");
}

void SimGatewayLink::Answer(const std::string& line) {
  const auto text = std::make_shared<const std::string>(line);
  asio::async_write(proxy_, asio::buffer(*text),
                    [self = shared_from_this(), text](const asio::error_code&, std::size_t) {});
}

// ---- setting up ----

void SimGatewayLink::OpenRings() {
  rings_.SetSpin(config_.spinUs);
  if (!rings_.Create(baseName_, config_.ringBytes)) {
    Log("the system refuses the rings: error " + std::to_string(rings_.Error()));
    return Close();
  }
  ConnectUpstream();
}

void SimGatewayLink::ConnectUpstream() {
  const auto resolver = std::make_shared<tcp::resolver>(upstream_.get_executor());
  resolver->async_resolve(config_.upstreamHost, std::to_string(config_.upstreamPort),
                          [self = shared_from_this(), resolver](
                              const asio::error_code& error, const tcp::resolver::results_type& endpoints) {
                            if (!self->open_) return;
                            if (error) return self->OnUpstream(error);
                            asio::async_connect(self->upstream_, endpoints,
                                                [self](const asio::error_code& result, const tcp::endpoint&) {
                                                  if (self->open_) self->OnUpstream(result);
                                                });
                          });
}

void SimGatewayLink::OnUpstream(const asio::error_code& error) {
  if (error) {
    Log("no upstream: " + error.message());
    return Close();
  }
  asio::error_code ignored;
  upstream_.set_option(tcp::no_delay(true), ignored);
  linked_ = true;
  waiter_ = std::thread([this] { WaitForRings(); });
  Answer("Ack:ShMemName:" + rings_.BaseName() + "\n");
  Log("linked");
  ReadUpstream();
}

/// Runs on the waiting thread, which Close joins.
void SimGatewayLink::WaitForRings() {
  while (const unsigned news = rings_.Wait()) {
    asio::post(Io(), [self = shared_from_this(), news] {
      if (!self->open_) return;
      if ((news & SimRings::kData) != 0) self->CarryUp();
      if (self->open_ && (news & SimRings::kSpace) != 0) self->CarryDown();
    });
  }
}

// ---- carrying ----

void SimGatewayLink::CarryUp() {
  if (carryingUp_ || !linked_) return;
  const int count = rings_.Read(up_.data(), up_.size());
  if (count < 0 || (count == 0 && finishing_)) return Close();
  if (count == 0) return;
  carryingUp_ = true;
  asio::async_write(upstream_, asio::buffer(up_.data(), static_cast<std::size_t>(count)),
                    [self = shared_from_this()](const asio::error_code& error, std::size_t) {
                      self->carryingUp_ = false;
                      if (!self->open_) return;
                      if (error) return self->Close();
                      self->CarryUp();
                    });
}

void SimGatewayLink::CarryDown() {
  if (downAt_ == downEnd_) return;
  if (finishing_) {  // nobody reads the ring: discard, so that the server does not wait for space with
                     // requests pending
    downAt_ = downEnd_;
    return ReadUpstream();
  }
  const int count = rings_.Write(down_.data() + downAt_, MayWrite());
  if (count < 0) return Close();
  carriedDown_ += static_cast<std::uint64_t>(count);
  if (config_.crashAfter != 0 && carriedDown_ == config_.crashAfter) std::_Exit(9);
  downAt_ += static_cast<std::size_t>(count);
  if (downAt_ == downEnd_) ReadUpstream();
}

std::size_t SimGatewayLink::MayWrite() const {
  const std::uint64_t waiting = downEnd_ - downAt_;
  const std::uint64_t left = config_.crashAfter == 0 ? waiting : config_.crashAfter - carriedDown_;
  return static_cast<std::size_t>(std::min(waiting, left));
}

void SimGatewayLink::ReadUpstream() {
  upstream_.async_read_some(asio::buffer(down_),
                            [self = shared_from_this()](const asio::error_code& error, std::size_t count) {
                              if (!self->open_) return;
                              if (error) return self->Close();  // all received bytes are in the ring
                              self->downAt_ = 0;
                              self->downEnd_ = count;
                              self->CarryDown();
                            });
}

void SimGatewayLink::Finish() {
  if (!linked_) return Close();
  finishing_ = true;
  CarryDown();
  CarryUp();
}

void SimGatewayLink::Close() {
  if (!open_) return;
  open_ = false;
  Log("ended");
  if (waiter_.joinable()) {
    rings_.Stop();
    waiter_.join();
  }
  rings_.Close();
  asio::error_code ignored;
  proxy_.close(ignored);
  upstream_.close(ignored);
  // Posted, because this may run inside one of the handlers.
  asio::post(Io(), std::exchange(closed_, nullptr));
}

}  // namespace VekSim
