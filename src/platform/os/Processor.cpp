#include "platform/os/Processor.h"

#if !defined(__GNUC__)
#include <intrin.h>
#endif

namespace Dova::Os {

bool HasAvx2() {
#if defined(__GNUC__)
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("popcnt");
#else
  constexpr int kOsSaves = 1 << 27;
  constexpr int kPopcnt = 1 << 23;
  constexpr int kAvx2AndBmi = 1 << 5 | 1 << 3;
  int leaf1[4];
  int leaf7[4];
  __cpuid(leaf1, 1);
  __cpuidex(leaf7, 7, 0);
  const bool saved = (leaf1[2] & kOsSaves) != 0 && (_xgetbv(0) & 6) == 6;
  return saved && (leaf1[2] & kPopcnt) != 0 && (leaf7[1] & kAvx2AndBmi) == kAvx2AndBmi;
#endif
}

}  // namespace Dova::Os
