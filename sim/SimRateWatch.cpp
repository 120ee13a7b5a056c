#include "sim/SimRateWatch.h"

namespace VekSim {

bool RateWatch::Arrive(std::chrono::microseconds now) {
  if (rate_.count < 1 || rate_.ms < 1) return true;
  bool kept = true;
  if (arrivals_.size() == static_cast<std::size_t>(rate_.count)) {
    kept = now - arrivals_.front() >= std::chrono::milliseconds(rate_.ms - rate_.slackMs);
    arrivals_.pop_front();
  }
  arrivals_.push_back(now);
  return kept;
}

}  // namespace VekSim
