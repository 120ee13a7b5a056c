#pragma once

#include <chrono>
#include <string>

namespace VekSim {

/// One event of a server, for logs and the page. Empty fields do not apply. Texts are UTF-8, except those
/// sent by clients, whose bytes are unchanged.
struct SimNote {
  std::chrono::microseconds at{};  ///< since the server started
  int session = 0;                 ///< 0: none
  /// "listening", "link", "connect", "sign-on", "password", "request", "report", "played", "closed"
  std::string what{};
  std::string workId{}, verb{};
  std::string outcome{};  ///< of a request, sign-on etc.: "answered", "accepted", "rejected", ...
  int code = 0;           ///< of a rejection
  std::string order{};    ///< number
  std::string detail{};   ///< a report's text, the action played, the user signed on
};

/// "08:45:00.120 #1 request w1 new: rejected 105 A00001 detail"; `start` is the server's time of day at 0.
std::string TextOf(const SimNote& note, std::chrono::microseconds start);
/// One JSON object, without a line feed; fields that do not apply are omitted.
std::string JsonOf(const SimNote& note, std::chrono::microseconds start);

}  // namespace VekSim
