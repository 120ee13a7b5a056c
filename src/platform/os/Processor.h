// What the processor offers beyond the instructions that every x86-64 has.
#pragma once

// In front of a function that is called only if HasAvx2.
#if defined(__GNUC__)
#define VEKAPI_TARGET_AVX2 __attribute__((target("avx2,bmi,popcnt")))
#else
#define VEKAPI_TARGET_AVX2
#endif

namespace Dova::Os {

// True if the processor has AVX2 with BMI and POPCNT, and the system saves the wide registers.
bool HasAvx2();

}  // namespace Dova::Os
