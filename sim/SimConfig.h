#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sim/SimDay.h"
#include "sim/SimFaults.h"
#include "sim/SimNote.h"
#include "sim/SimWire.h"

namespace VekSim {

/// At most `count` arrivals within any `ms` milliseconds; a count or ms below 1 means no limit.
struct SimRate {
  int count = 0;
  int ms = 1000;
  /// Arrivals up to this much too early still pass, because the network may shorten a gap that was kept.
  int slackMs = 0;
};

struct SimUser {
  std::string id{};
  std::string password{};
  std::vector<std::string> accounts{};
};

/// Configuration of a server. The default is a plain little-endian server without scrambling.
struct SimConfig {
  std::string host = "127.0.0.1";
  std::uint16_t port = 0;  ///< 0 lets the system choose; SimServer::Port() says which

  // Connect result
  ByteOrder order = ByteOrder::Little;
  int mode = 0;       ///< -128 to 127; 1 asks the client to scramble
  std::string key{};  ///< up to 255 bytes; if not empty, the server scrambles all it sends
  /// Items before the server's own "VekEnc\n" item, which is sent if mode or key is set.
  std::vector<SimItem> items{};
  std::string serverName = "VEKSIM";
  std::array<std::uint16_t, 4> serverVersion{1, 0, 0, 0};
  int outcome = 0;             ///< 1 refuses every connect request
  std::string connectError{};  ///< UTF-8; if not empty, sent in an "ERROR\n" item, whatever the outcome

  // Sign-on
  std::vector<SimUser> users{{"trader", "secret", {"9800001", "9800002"}}, {"demo", "demo", {"9800009"}}};
  bool acceptAnyone = false;       ///< any identity and password; unknown users get account "9800001"
  std::uint32_t signOnReply = 0;   ///< if not 0, a sign-on reply with this number precedes the result
  std::string rateTable = "head";  ///< table of the sign-on result with the rate; empty: none

  // Requests
  SimRate queryRate{20, 1000, 20};  ///< announced at sign-on; counted for code 128
  SimRate requestRate{};            ///< counted for code 129, each request of a batch separately
  bool refuseFast = false;          ///< answer an arrival above the rate with an error instead of its result
  bool autoAck = true;              ///< acknowledge batches; if off, send the acknowledgements with SendText
  bool utf8 = true;  ///< results marked and sent as UTF-8; otherwise code page 950 without a mark
  /// Result texts sent unchanged for these verbs, instead of the market's answer.
  std::map<std::string, std::string> answers{};

  // Heartbeat
  bool echoHeartbeat = true;
  int heartbeatMs = 0;  ///< period of the server's own heartbeats; 0: none

  LinkFaults link;  ///< for every session without queued LinkFaults
  bool keepPackets =
      true;  ///< keep packets and requests in SimSeen, not only their counts; off for long runs
  std::function<std::chrono::microseconds()> clock{};  ///< stamps arrivals; empty: the steady clock
  /// A line for each request on arrival, "saw WORKID VERB", and for each order or cancel carried out,
  /// "did WORKID ORDERNUMBER", before any answer. On the server's thread; may be empty.
  std::function<void(const std::string&)> ledger{};
  std::function<void(const SimNote&)> log{};  ///< every event, on the server's thread; may be empty
  SimDay day{};                               ///< what is played, and the time of day
  /// Orders, deals and prices are written to this file, and read from it at the start; empty: no file.
  std::string persistFile{};
  /// A recording of all links is written to this file; empty: no file.
  std::string recordFile{};

  std::optional<std::uint16_t> webPort{};  ///< port of the page; 0 lets the system choose, nothing: no page
  std::string webHost = "127.0.0.1";
};

}  // namespace VekSim
