// One client's connection through the proxy.
#pragma once

#include <array>
#include <asio.hpp>
#include <memory>
#include <string>

#include "vekdump/Links.h"

namespace VekDump {

// Lives as long as one of its operations is pending.
class ProxyLink : public std::enable_shared_from_this<ProxyLink> {
 public:
  ProxyLink(asio::io_context& io, asio::ip::tcp::socket client, std::uint32_t number, LinkEvents& events);

  // Then it forwards everything until both sides have closed.
  void Connect(const std::string& host, const std::string& port);
  void End(const std::string& reason);

 private:
  using Bytes = std::array<char, 65536>;

  asio::ip::tcp::socket& Of(Side side) { return side == Side::Client ? client_ : server_; }
  void Pass(Side from);
  void OnPart(Side from, const asio::error_code& error, std::size_t count);
  void OnEnd(Side from, const asio::error_code& error);

  asio::ip::tcp::socket client_;
  asio::ip::tcp::socket server_;
  asio::ip::tcp::resolver resolver_;
  const std::uint32_t number_;
  LinkEvents& events_;
  Bytes blocks_[2];
  bool over_ = false;
  bool half_ = false;  // one side has closed
};

}  // namespace VekDump
