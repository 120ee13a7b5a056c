#pragma once

#include "platform/os/Clock.h"
#include "platform/os/Room.h"

namespace Dova::Os {

// Lets one thread sleep until a given time, to within about a millisecond or better; other threads can wake
// it earlier. Allocates no memory. If the system has no handle left, it polls every few milliseconds.
class TAlarm {
 public:
  TAlarm() noexcept;
  ~TAlarm();
  TAlarm(const TAlarm&) = delete;
  TAlarm& operator=(const TAlarm&) = delete;

  // Returns at `due`, or after a Wake. A Wake before the call ends it at once. One thread at a
  // time.
  void WaitUntil(TTime due) noexcept;
  void Wake() noexcept;

 private:
  struct TNative;
  TRoom<TNative, 32> native_;
};

}  // namespace Dova::Os
