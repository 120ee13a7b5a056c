#pragma once

#include <cstdint>
#include <random>
#include <vector>

namespace VekApi {

struct TPolicyRules {
  std::uint32_t maxAttempts = UINT32_MAX;  // after the first
  std::uint32_t firstDelayMs = 250;
  std::uint32_t maxDelayMs = 30'000;
  std::uint32_t stableMs = 10'000;
  std::uint32_t maxShortLinks = 5;
};

// Which endpoint to try when. A round tries each once, the last good one first; between rounds comes a delay.
// Plain: knows no clock and no link.
class TPolicy {
 public:
  struct TNext {
    std::uint32_t delayMs = 0;  // before it; 0: at once
    bool newRound = false;
    int stopped = 0;  // or the reason why there is none
  };

  TPolicy(const TPolicyRules& rules, std::uint64_t seed) : rules_(rules), random_(seed) {}

  void AddEndpoint() { ++endpoints_; }
  std::uint32_t Endpoints() const { return endpoints_; }

  // Forgets what was, but which endpoint was good.
  void Begin();
  // The endpoint of the next attempt, and of the one that begins now.
  std::uint32_t Upcoming() const { return Endpoint(); }
  std::uint32_t Attempt();
  std::uint32_t Attempts() const { return attempts_; }
  std::uint32_t ShortLinks() const { return shortLinks_; }

  void OnUp() { good_ = Endpoint(); }
  // The link has ended, that was up for so long; negative: never.
  TNext OnEnd(std::int64_t upNs);

 private:
  std::uint32_t Endpoint() const;
  TNext NewRound();

  const TPolicyRules rules_;
  std::mt19937_64 random_;
  std::uint32_t endpoints_ = 0;
  std::uint32_t good_ = 0;
  std::uint32_t first_ = 0;     // of this round
  std::uint32_t position_ = 0;  // in this round
  std::uint32_t rounds_ = 0;    // after the first
  std::uint32_t attempts_ = 0;
  std::uint32_t shortLinks_ = 0;
};

}  // namespace VekApi
