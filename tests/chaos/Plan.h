// What the seed decides about one direction of a link.
#pragma once

#include <cstddef>
#include <random>

namespace Chaos {

using TRandom = std::minstd_rand;

enum class EFault { None, Reset, HalfClose, Silence, Stop };

struct TPlan {
  unsigned latencyUs = 0;
  unsigned jitterUs = 0;       // added to it, up to this much
  std::size_t slice = 16384;   // bytes written at a time
  std::size_t bytesPerMs = 0;  // 0: no limit
  EFault fault = EFault::None;
  std::size_t faultAt = SIZE_MAX;  // after this many bytes
  unsigned pauseMs = 0;            // of a silence or a stop
};

inline TPlan MakePlan(TRandom& random) {
  const auto below = [&random](unsigned bound) { return static_cast<unsigned>(random() % bound); };
  TPlan plan;
  if (below(2) == 0) plan.latencyUs = below(2000);
  if (below(2) == 0) plan.jitterUs = below(3000);
  if (below(3) == 0) plan.slice = 1 + below(below(4) == 0 ? 8 : 1500);
  if (below(4) == 0) plan.bytesPerMs = 2000 + below(20'000);
  if (below(5) < 2) return plan;
  plan.fault = static_cast<EFault>(1 + below(4));
  plan.faultAt = below(below(3) == 0 ? 400 : 20'000);
  plan.pauseMs = below(below(4) == 0 ? 600 : 60);
  return plan;
}

}  // namespace Chaos
