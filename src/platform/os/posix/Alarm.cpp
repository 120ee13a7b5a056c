#include "platform/os/Alarm.h"

#include "platform/os/Clock.h"
#include "platform/os/Mutex.h"
#include "platform/os/posix/Deadline.h"

namespace Dova::Os {

struct TAlarm::TNative : TMonotonicCondition {
  bool woken = false;
};

TAlarm::TAlarm() noexcept = default;
TAlarm::~TAlarm() = default;

void TAlarm::WaitUntil(TTime due) noexcept {
  const std::int64_t dueNs = due.time_since_epoch().count();
  AssertNoLockHeld("TAlarm::WaitUntil");
  pthread_mutex_lock(&native_->mutex);
  while (!native_->woken && MonotonicNs() < dueNs) native_->WaitUntil(dueNs);
  native_->woken = false;
  pthread_mutex_unlock(&native_->mutex);
}

void TAlarm::Wake() noexcept {
  pthread_mutex_lock(&native_->mutex);
  native_->woken = true;
  pthread_cond_signal(&native_->condition);
  pthread_mutex_unlock(&native_->mutex);
}

}  // namespace Dova::Os
