#include "keeper/TPolicy.h"

#include <algorithm>

#include "keeper/Times.h"
#include "vekapi/VekSessionC.h"

namespace VekApi {

void TPolicy::Begin() {
  first_ = good_;
  position_ = rounds_ = attempts_ = shortLinks_ = 0;
}

// The round's first endpoint, then the others in their order.
std::uint32_t TPolicy::Endpoint() const {
  if (position_ == 0) return first_;
  return position_ <= first_ ? position_ - 1 : position_;
}

std::uint32_t TPolicy::Attempt() {
  ++attempts_;
  return Endpoint();
}

TPolicy::TNext TPolicy::OnEnd(std::int64_t upNs) {
  const bool stable = upNs >= rules_.stableMs * kNsPerMs;
  if (stable) rounds_ = attempts_ = shortLinks_ = 0;
  TNext next;
  if (upNs >= 0 && !stable && ++shortLinks_ >= rules_.maxShortLinks && rules_.maxShortLinks != 0)
    next.stopped = vsr_ShortLinks;
  // A stable link counts as the first attempt of the next series.
  const std::uint32_t made = stable ? 1 : attempts_;
  if (rules_.maxAttempts != UINT32_MAX && made > rules_.maxAttempts) next.stopped = vsr_NoMoreAttempts;
  if (next.stopped != 0) return next;
  if (upNs < 0 && ++position_ < endpoints_) return next;
  return NewRound();
}

TPolicy::TNext TPolicy::NewRound() {
  const std::uint64_t grown = rounds_ < 32 ? std::uint64_t{rules_.firstDelayMs} << rounds_ : UINT64_MAX;
  const std::uint64_t most = std::min<std::uint64_t>(rules_.maxDelayMs, grown);
  ++rounds_;
  position_ = 0;
  first_ = good_;
  TNext next;
  next.newRound = true;
  next.delayMs = static_cast<std::uint32_t>(most - random_.Next() % (most / 2 + 1));
  return next;
}

}  // namespace VekApi
