#pragma once

#include <chrono>
#include <deque>

#include "sim/SimConfig.h"

namespace VekSim {

/// Holds arrivals against a rate over a sliding window: an arrival breaks it when it is the `count`+1st
/// within less than `ms` milliseconds (less slack). With 2 per 1000 ms, arrivals at 0, 400, 1000 keep it, 0,
/// 400, 999 break it once.
class RateWatch {
 public:
  explicit RateWatch(const SimRate& rate) : rate_(rate) {}

  /// False when this arrival breaks the rate. It counts in the window all the same.
  bool Arrive(std::chrono::microseconds now);

 private:
  SimRate rate_;
  std::deque<std::chrono::microseconds> arrivals_;  ///< the last `count`
};

}  // namespace VekSim
