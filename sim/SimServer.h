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

/// A packet to slip in between two pieces of a long message: header and body, scrambled like any other.
struct SimInsert {
  int code = Code::kHeartbeat;
  std::string body{};
};

/// A simulated order-routing server on a port of its own. It listens when the constructor returns, serves
/// every link on one thread of its own, and is gone, links and thread, when Stop() or the destructor returns,
/// whatever the links are doing. Any number of servers may live side by side.
///
/// All methods may be called from any thread but the server's own (from SimConfig::log and ::clock only the
/// Send methods are safe). What is sent goes in the order of the calls.
class SimServer {
 public:
  static constexpr int kAll = 0;  ///< stands for every session that is signed on

  /// Throws std::system_error when the address cannot be listened on.
  explicit SimServer(SimConfig config = {});
  ~SimServer();
  SimServer(const SimServer&) = delete;
  SimServer& operator=(const SimServer&) = delete;

  std::uint16_t Port() const;
  /// "TCPClient:127.0.0.1:PORT"; an IPv6 host stands in brackets.
  std::string Setting() const;
  void Stop();

  SimFaults& Faults();
  /// Replaces the misbehaviour of a live session; counting for cutAfter starts now. A stall that is lifted
  /// reads on.
  void SetLink(int session, const LinkFaults& faults);

  // Sending on demand. False when no such session is open; otherwise the bytes are queued for it.
  bool SendReport(int session, std::string_view text);
  bool SendHeartbeat(int session);
  /// As it is: no header, no scrambling.
  bool SendRaw(int session, std::string_view bytes);
  /// Header in front of the body as it is; the body's prefix, if the code has one, is the caller's.
  bool SendPacket(int session, int code, std::string_view body);
  /// With the five-byte prefix, in pieces when it is long: codes 128 to 131 and others of that form.
  bool SendText(int session, int code, std::string_view text);
  /// The same in pieces of `pieceSize` bytes, with one of `between` behind each piece until they are used up.
  bool SendLong(int session, int code, std::string_view text, std::size_t pieceSize,
                std::vector<SimInsert> between = {});
  /// A task result; `text` goes as it is, without a conversion.
  bool SendResult(int session, std::string_view workId, std::string_view text);
  /// Ends the link: after all that is queued has gone, or at once with a reset.
  bool Disconnect(int session, bool reset = false);

  // What it saw.
  SimSeen Seen() const;
  void Forget();  ///< open sessions stay known, everything else is emptied and counts from 0
  /// Waits until the predicate holds; false when it does not within the time. The predicate runs on the
  /// caller's thread, under the lock of what it is shown: it must not call the server.
  bool WaitFor(const std::function<bool(const SimSeen&)>& predicate,
               std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace VekSim
