#include "platform/os/Processor.h"

#include <immintrin.h>

#if defined(__GNUC__)
#include <cpuid.h>
#define VEKAPI_TARGET_XSAVE __attribute__((target("xsave")))
#else
#include <intrin.h>
#define VEKAPI_TARGET_XSAVE
#endif

namespace Dova::Os {
namespace {

enum ERegister { eax, ebx, ecx, edx };

void AskProcessor(int leaf, int (&answer)[4]) {
#if defined(__GNUC__)
  __cpuid_count(leaf, 0, answer[eax], answer[ebx], answer[ecx], answer[edx]);
#else
  __cpuidex(answer, leaf, 0);
#endif
}

bool Has(int answer, int bits) {
  return (answer & bits) == bits;
}

}  // namespace

// Not __builtin_cpu_supports, which adds 5 KB for all the other processors.
VEKAPI_TARGET_XSAVE bool HasAvx2() {
  constexpr int kOsSavesAndPopcnt = 1 << 27 | 1 << 23, kAvx2AndBmi = 1 << 5 | 1 << 3, kWideRegisters = 6;
  int leaf[4];
  AskProcessor(0, leaf);
  if (leaf[eax] < 7) return false;
  AskProcessor(1, leaf);
  if (!Has(leaf[ecx], kOsSavesAndPopcnt) || !Has(static_cast<int>(_xgetbv(0)), kWideRegisters)) return false;
  AskProcessor(7, leaf);
  return Has(leaf[ebx], kAvx2AndBmi);
}

}  // namespace Dova::Os
