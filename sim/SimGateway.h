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
  std::uint32_t ringBytes = 1 << 20;  ///< that each ring takes
  /// Names are this, a number that nobody can guess, and a count.
  std::string namePrefix = "vekgate";
  int spinUs = 0;  ///< how long the gateway polls a ring before it sleeps
  bool answerHeartbeats = true;
  /// The process ends at once, as if it had been killed, when so many bytes have gone to a client; 0: never.
  std::uint64_t crashAfter = 0;
  std::function<void(const std::string&)> log{};  ///< a line at a time, on the gateway's thread
};

/// A gateway for shared-memory clients: accepts proxy links over TCP, creates two rings for each, and carries
/// the bytes between them and an upstream connection of its own to a server. Rings and connection end with
/// the proxy link.
///
/// One thread for all links, and one more for each that waits for its rings. Everything is gone when Stop()
/// or the destructor returns. Methods may be called from any thread but the gateway's own.
class SimGateway {
 public:
  /// Throws std::system_error when the address cannot be listened on.
  explicit SimGateway(SimGatewayConfig config);
  ~SimGateway();
  SimGateway(const SimGateway&) = delete;
  SimGateway& operator=(const SimGateway&) = delete;

  std::uint16_t Port() const;
  /// What a client's Connect takes: ":ShMemCli:TCPClient:HOST:PORT n M0".
  std::string Setting() const;
  void Stop();

  /// From now on no byte is moved and no line answered; the links stay open.
  void Freeze();
  /// Ends all links.
  void DropLinks();

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace VekSim
