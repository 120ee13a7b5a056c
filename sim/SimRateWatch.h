#pragma once

#include <chrono>
#include <deque>

#include "sim/SimConfig.h"

namespace VekSim {

/// Checks arrivals against a rate over a sliding window: an arrival violates it if it is the `count`+1st
/// within less than `ms` milliseconds (minus slack). With 2 per 1000 ms, arrivals at 0, 400, 1000 conform; 0,
/// 400, 999 are one violation.
class RateWatch {
 public:
  explicit RateWatch(const SimRate& rate) : rate_(rate) {}

  /// False if this arrival violates the rate. It counts in the window in both cases.
  bool Arrive(std::chrono::microseconds now);

 private:
  SimRate rate_;
  std::deque<std::chrono::microseconds> arrivals_;  ///< the last `count`
};

}  // namespace VekSim
