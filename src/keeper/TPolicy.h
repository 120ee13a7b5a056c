#pragma once

#include <cstdint>
#include <vector>

#include "keeper/TRandom.h"

namespace VekApi {

struct TPolicyRules {
  std::uint32_t maxAttempts = UINT32_MAX;  // after the first
  std::uint32_t firstDelayMs = 250;
  std::uint32_t maxDelayMs = 30'000;
  std::uint32_t stableMs = 10'000;
  std::uint32_t maxShortLinks = 5;
};

// Decides which endpoint to try, and when. A round tries each endpoint once, starting with the last good one;
// rounds are separated by a delay. Knows no clock and no link.
class TPolicy {
 public:
  struct TNext {
    std::uint32_t delayMs = 0;  // before the attempt; 0: immediately
    bool newRound = false;
    int stopped = 0;  // if not 0, the reason why no attempt follows
  };

  TPolicy(const TPolicyRules& rules, std::uint64_t seed) : rules_(rules), random_(seed) {}

  void AddEndpoint() { ++endpoints_; }
  std::uint32_t Endpoints() const { return endpoints_; }

  // Starts over, but remembers the last good endpoint.
  void Begin();
  // The endpoint for the next attempt, or for the one about to start.
  std::uint32_t Upcoming() const { return Endpoint(); }
  std::uint32_t Attempt();
  std::uint32_t Attempts() const { return attempts_; }
  std::uint32_t ShortLinks() const { return shortLinks_; }

  void OnUp() { good_ = Endpoint(); }
  // The link has ended after being up for `upNs`; negative: it was never up.
  TNext OnEnd(std::int64_t upNs);

 private:
  std::uint32_t Endpoint() const;
  TNext NewRound();

  const TPolicyRules rules_;
  TRandom random_;
  std::uint32_t endpoints_ = 0;
  std::uint32_t good_ = 0;
  std::uint32_t first_ = 0;     // of this round
  std::uint32_t position_ = 0;  // in this round
  std::uint32_t rounds_ = 0;    // after the first
  std::uint32_t attempts_ = 0;
  std::uint32_t shortLinks_ = 0;
};

}  // namespace VekApi
