#pragma once

#include <array>
#include <asio.hpp>
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "sim/SimGateway.h"
#include "sim/SimRings.h"

namespace VekSim {

/// One proxy link with its rings and its upstream connection. Runs on the gateway's thread; the waiting
/// thread only posts to it.
class SimGatewayLink : public std::enable_shared_from_this<SimGatewayLink> {
 public:
  SimGatewayLink(const SimGatewayConfig& config, asio::ip::tcp::socket proxy, std::string baseName);
  void Start(std::function<void()> closed);
  void Close();

 private:
  using Handler = std::function<void(std::size_t)>;

  void ReadProxy();
  void OnProxyLine(const std::string& line);
  void Answer(const std::string& line);

  void OpenRings();
  void ConnectUpstream();
  void OnUpstream(const asio::error_code& error);
  void WaitForRings();

  void CarryUp();
  void CarryDown();
  void ReadUpstream();
  std::size_t MayWrite() const;
  void Finish();
  void Log(const std::string& line) const;
  asio::io_context& Io() { return static_cast<asio::io_context&>(proxy_.get_executor().context()); }

  const SimGatewayConfig& config_;
  const std::string baseName_;
  asio::ip::tcp::socket proxy_;
  asio::ip::tcp::socket upstream_;
  std::function<void()> closed_;
  std::array<char, 1024> chunk_{};
  std::string line_;
  std::string answers_;  ///< being written to the proxy link
  SimRings rings_;
  std::thread waiter_;
  std::array<char, 65536> up_{};
  bool carryingUp_ = false;
  std::array<char, 65536> down_{};
  std::size_t downAt_ = 0, downEnd_ = 0;  ///< part of down_ not yet written to the ring
  std::uint64_t carriedDown_ = 0;
  bool linked_ = false;
  bool finishing_ = false;  ///< one end has closed: data pending for the other is sent first
  bool open_ = true;
};

}  // namespace VekSim
