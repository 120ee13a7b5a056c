#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace VekSim {

struct SimGatewayConfig {
  std::string host = "127.0.0.1";  ///< where proxy links are accepted
  std::uint16_t port = 0;          ///< 0 lets the system choose
  std::string upstreamHost = "127.0.0.1";
  std::uint16_t upstreamPort = 0;
  std::uint32_t ringBytes = 1 << 20;  ///< capacity of each ring
  /// Names consist of this, an unguessable number, and a counter.
  std::string namePrefix = "vekgate";
  int spinUs = 0;  ///< how long the gateway polls a ring before it sleeps
  /// The process terminates at once, as if killed, after so many bytes to a client; 0: never.
  std::uint64_t crashAfter = 0;
  std::function<void(const std::string&)> log{};  ///< called per line, on the gateway's thread
};

/// A gateway for shared-memory clients: accepts proxy links over TCP, creates two rings for each, and carries
/// the bytes between them and its own upstream connection to a server. Rings and connection end with the
/// proxy link.
///
/// One thread for all links, and one more for each that waits for its rings. All have ended when Stop() or
/// the destructor returns. Methods may be called from any thread except the gateway's own.
class SimGateway {
 public:
  /// Throws std::system_error if it cannot listen on the address.
  explicit SimGateway(SimGatewayConfig config);
  ~SimGateway();
  SimGateway(const SimGateway&) = delete;
  SimGateway& operator=(const SimGateway&) = delete;

  std::uint16_t Port() const;
  /// A setting for a client's Connect: ":ShMemCli:TCPClient:HOST:PORT n M0".
  std::string Setting() const;
  void Stop();

  /// Ends all links.
  void DropLinks();

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace VekSim
