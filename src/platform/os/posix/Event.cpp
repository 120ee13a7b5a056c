#include "platform/os/Event.h"

#include "platform/os/Clock.h"
#include "platform/os/posix/Deadline.h"

namespace Dova::Os {

struct TEvent::TNative : TMonotonicCondition {
  bool isSet = false;
};

TEvent::TEvent() : native_(std::make_unique<TNative>()) {}
TEvent::~TEvent() = default;

void TEvent::Set() noexcept {
  pthread_mutex_lock(&native_->mutex);
  native_->isSet = true;
  // Signalled under the mutex: whoever waited may destroy the event as soon as it gets the mutex.
  pthread_cond_signal(&native_->condition);
  pthread_mutex_unlock(&native_->mutex);
}

bool TEvent::Wait(int timeoutMs) noexcept {
  std::int64_t due = INT64_MAX;
  if (timeoutMs > 0) due = MonotonicNs() + std::int64_t{timeoutMs} * 1'000'000;
  pthread_mutex_lock(&native_->mutex);
  while (!native_->isSet && timeoutMs != 0 && (due == INT64_MAX || MonotonicNs() < due)) {
    native_->WaitUntil(due);
  }
  const bool wasSet = native_->isSet;
  native_->isSet = false;
  pthread_mutex_unlock(&native_->mutex);
  return wasSet;
}

}  // namespace Dova::Os
