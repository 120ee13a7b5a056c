#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace VekSim {

class SimField;

/// What a script, or the page, can have the server do.
enum class SimDeed {
  Accept,   ///< the new order rests, whatever its price
  Reject,   ///< `number` is the code, `text` the reason; in the answer, or later by a report
  Fill,     ///< `lots` lots (0: all that is left) at `price` (0: the order's own, or the last)
  Ack,      ///< `text` is "missing", "doubled" or "late": the acknowledgement, or a query's result
  Price,    ///< `product` moves to `price`, or by up to `walk` ticks either way; `lots` trade there
  Burst,    ///< `number` reports with `text`
  Silence,  ///< nothing is answered for `number` ms; 0: forever
  Stall,    ///< nothing is read for `number` ms; 0: forever
  Delay,    ///< every write waits `number` ms; 0: no longer
  Cut,      ///< the stream ends after `number` more bytes
  Garbage,  ///< `number` bytes of noise
  Close,    ///< the link ends, with a reset if `text` is "reset"
  Restart,  ///< all links end; `number` ms later the server listens again, without its market if `text` is
            ///< "blank"
};

struct SimAction {
  SimDeed deed = SimDeed::Accept;
  std::chrono::milliseconds after{0};  ///< how long after the trigger
  std::int64_t number = 0;
  std::string text{};
  std::string product{};
  int lots = 0;
  int price = 0;  ///< hundredths
  int walk = 0;
};

/// Actions and what triggers them: a time, or an event.
struct SimRule {
  std::string
      on{};  ///< "connect", "sign-on", "password", "request", "query", "order", or a verb; empty: a time
  std::map<std::string, std::string> where{};  ///< arguments that a request must have
  int nth = 1;                                 ///< the first such event that counts
  std::optional<int> times{};                  ///< how often; nothing: always, or once if it is a time
  std::chrono::milliseconds at{0};             ///< since the server started
  std::chrono::milliseconds every{0};          ///< between repetitions at a time
  std::vector<SimAction> actions{};
};

struct SimDay {
  std::uint32_t seed = 1;                                       ///< of noise and walks
  std::chrono::microseconds start = std::chrono::minutes(525);  ///< time of day at the server's start: 08:45
  std::vector<SimRule> rules{};
};

/// Reads a script; docs/simulator.md describes it. Throws std::runtime_error, "FILE:LINE: FIELD: words", if
/// it is invalid.
SimDay ReadDay(std::string_view json, const std::string& file);
/// Describes an action: "fill 1 at 18250".
std::string TextOf(const SimAction& action);
/// Reads one action, as in a script, from a member of `json` and the accompanying members. Throws JsonError.
SimAction ReadAction(const SimField& json);
/// Whether it applies to one request, and so cannot be scheduled for a time.
bool NeedsRequest(SimDeed deed);

}  // namespace VekSim
