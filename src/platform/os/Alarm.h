#pragma once

#include <cstdint>

#include "platform/os/Room.h"

namespace Dova::Os {

// Lets one thread sleep until a given time, to within about a millisecond or better; other threads can wake
// it earlier. Allocates no memory. If the system has no handle left, it polls every few milliseconds.
class TAlarm {
 public:
  static constexpr std::int64_t kNever = INT64_MAX;

  TAlarm() noexcept;
  ~TAlarm();
  TAlarm(const TAlarm&) = delete;
  TAlarm& operator=(const TAlarm&) = delete;

  // Returns at dueNs of MonotonicNs, or after a Wake. A Wake before the call ends it at once. One thread at a
  // time.
  void WaitUntil(std::int64_t dueNs) noexcept;
  void Wake() noexcept;

 private:
  struct TNative;
  TRoom<TNative, 112> native_;
};

}  // namespace Dova::Os
