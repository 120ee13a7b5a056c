#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sim/SimConfig.h"
#include "sim/SimFaults.h"
#include "sim/SimSeen.h"

namespace VekSim {

/// A packet inserted between two pieces of a long message: header and body, scrambled like any other.
struct SimInsert {
  int code = Code::kHeartbeat;
  std::string body{};
};

/// A simulated order-routing server on its own port. It listens when the constructor returns and serves all
/// links on one thread. Links and thread have ended when Stop() or the destructor returns, whatever the links
/// are doing. Any number of servers may exist at the same time.
///
/// All methods may be called from any thread except the server's own (from SimConfig::log and ::clock only
/// the Send methods are safe). Data is sent in the order of the calls.
class SimServer {
 public:
  static constexpr int kAll = 0;  ///< stands for every session that is signed on

  /// Throws std::system_error if it cannot listen on the address, std::runtime_error if a
  /// file of SimConfig cannot be used.
  explicit SimServer(SimConfig config = {});
  ~SimServer();
  SimServer(const SimServer&) = delete;
  SimServer& operator=(const SimServer&) = delete;

  std::uint16_t Port() const;
  /// "TCPClient:127.0.0.1:PORT"; an IPv6 host is in brackets.
  std::string Setting() const;
  /// Where the page is; empty without SimConfig::webPort.
  std::string PageUrl() const;
  void Stop();

  SimFaults& Faults();
  /// Replaces the faults of a live session; cutAfter counts from now. When a stall ends, reading continues.
  void SetLink(int session, const LinkFaults& faults);

  // Sending on demand. False if no such session is open; otherwise the bytes are queued for it.
  bool SendReport(int session, std::string_view text);
  bool SendHeartbeat(int session);
  /// Unchanged: no header, no scrambling.
  bool SendRaw(int session, std::string_view bytes);
  /// A header and the unchanged body; the caller supplies the body's prefix, if the code has one.
  bool SendPacket(int session, int code, std::string_view body);
  /// With the five-byte prefix, in pieces if it is long: codes 128 to 131 and others of that form.
  bool SendText(int session, int code, std::string_view text);
  /// The same in pieces of `pieceSize` bytes, each followed by one of `between` until they are used up.
  bool SendLong(int session, int code, std::string_view text, std::size_t pieceSize,
                std::vector<SimInsert> between = {});
  /// A task result; `text` is sent unchanged, without conversion.
  bool SendResult(int session, std::string_view workId, std::string_view text);
  /// Ends the link: after sending what is queued, or at once with a reset.
  bool Disconnect(int session, bool reset = false);

  /// Performs an action, as a script could. Session kAll stands for every session; `order` is an order's
  /// number, for a Fill or a Reject. Complete on return; false if there is no such order, or nothing of it is
  /// left.
  bool Play(const SimAction& action, int session = kAll, const std::string& order = {});
  /// With SimConfig::clock: performs the actions that have become due, complete on return. Timed actions wait
  /// for this call.
  void Tick();

  // What the server has received.
  SimSeen Seen() const;
  void Forget();  ///< keeps the open sessions, clears everything else
  /// Waits until the predicate holds; false after the timeout. The predicate runs on the caller's thread
  /// under a lock and must not call the server.
  bool WaitFor(const std::function<bool(const SimSeen&)>& predicate,
               std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace VekSim
