#include "platform/os/Alarm.h"

#include "platform/os/Mutex.h"
#include "platform/os/posix/TWakeWord.h"

namespace Dova::Os {

struct TAlarm::TNative : TWakeWord {};

TAlarm::TAlarm() noexcept = default;
TAlarm::~TAlarm() = default;

void TAlarm::WaitUntil(TTime due) noexcept {
  AssertNoLockHeld("TAlarm::WaitUntil");
  native_->WaitUntil(due.time_since_epoch().count());
}

void TAlarm::Wake() noexcept {
  native_->Set();
}

}  // namespace Dova::Os
