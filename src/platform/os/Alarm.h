#pragma once

#include <cstdint>

#include "platform/os/Room.h"

namespace Dova::Os {

// Lets one thread sleep until a moment, to within about a millisecond or better, and be woken earlier by
// others. Takes no memory; without a handle of the system's it looks every few milliseconds.
class TAlarm {
 public:
  static constexpr std::int64_t kNever = INT64_MAX;

  TAlarm() noexcept;
  ~TAlarm();
  TAlarm(const TAlarm&) = delete;
  TAlarm& operator=(const TAlarm&) = delete;

  // Returns at dueNs of MonotonicNs, or after a Wake. A Wake that came before the call ends it at once. One
  // thread at a time.
  void WaitUntil(std::int64_t dueNs) noexcept;
  void Wake() noexcept;

 private:
  struct TNative;
  TRoom<TNative, 112> native_;
};

}  // namespace Dova::Os
