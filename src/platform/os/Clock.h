#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace Dova::Os {

// Nanoseconds of a monotonic clock with an arbitrary origin.
std::int64_t MonotonicNs() noexcept;

// A number that changes every few milliseconds, at least every kTickMs; much cheaper to read than the clock.
std::int64_t Tick() noexcept;
inline constexpr unsigned kTickMs = 16;

// The same clock as a std::chrono clock.
struct TClock {
  using duration = std::chrono::nanoseconds;
  using rep = duration::rep;
  using period = duration::period;
  using time_point = std::chrono::time_point<TClock>;
  static constexpr bool is_steady = true;

  static time_point now() noexcept { return time_point(duration(MonotonicNs())); }
};

using TTime = TClock::time_point;
constexpr TTime kNever = TTime::max();

// Milliseconds from now until `due`, rounded up; 0 if it has passed. At most a day, which every wait function
// of the system accepts.
inline int MsUntil(TTime due) noexcept {
  using namespace std::chrono;
  const auto left = ceil<milliseconds>(due - TClock::now());
  return static_cast<int>(std::clamp<milliseconds>(left, 0ms, hours(24)).count());
}

}  // namespace Dova::Os
