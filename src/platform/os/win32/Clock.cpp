#include "platform/os/Clock.h"

#include <windows.h>

namespace Dova::Os {
namespace {

std::int64_t TicksPerSecond() noexcept {
  LARGE_INTEGER frequency;
  QueryPerformanceFrequency(&frequency);
  return frequency.QuadPart;
}

}  // namespace

std::int64_t MonotonicNs() noexcept {
  static const std::int64_t perSecond = TicksPerSecond();
  LARGE_INTEGER ticks;
  QueryPerformanceCounter(&ticks);
  // Seconds and remainder separately: the product of ticks and 10^9 would overflow after some minutes.
  const std::int64_t seconds = ticks.QuadPart / perSecond;
  const std::int64_t rest = ticks.QuadPart % perSecond;
  return seconds * 1'000'000'000 + rest * 1'000'000'000 / perSecond;
}

std::int64_t Tick() noexcept {
  return static_cast<std::int64_t>(GetTickCount64());
}

}  // namespace Dova::Os
