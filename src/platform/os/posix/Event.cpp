#include "platform/os/Event.h"

#include <utility>

#include "platform/os/Clock.h"
#include "platform/os/Mutex.h"
#include "platform/os/posix/Deadline.h"
#include "platform/os/posix/ThreadQueue.h"

namespace Dova::Os {

struct TEvent::TNative : TMonotonicCondition {
  bool isSet = false;

  bool Wait(const bool& woken, std::int64_t due) noexcept;
  bool WaitAnsweringSentMessages(TThreadQueue& queue, std::int64_t due) noexcept;
};

namespace {

bool IsOver(std::int64_t due) {
  return due != INT64_MAX && MonotonicNs() >= due;
}

// Ends a thread's wait for an event when a message is sent to one of its windows.
class TEventWaker final : public TThreadQueue::TWaker {
 public:
  TEventWaker(TThreadQueue& queue, TMonotonicCondition& event)
      : queue_(queue), event_(event), outer_(queue.SetWaker(this)) {}
  ~TEventWaker() { queue_.SetWaker(outer_); }
  TEventWaker(const TEventWaker&) = delete;
  TEventWaker& operator=(const TEventWaker&) = delete;

  void Wake() noexcept override {
    pthread_mutex_lock(&event_.mutex);
    woken = true;
    pthread_cond_broadcast(&event_.condition);
    pthread_mutex_unlock(&event_.mutex);
  }

  bool woken = false;  // guarded by the event's mutex

 private:
  TThreadQueue& queue_;
  TMonotonicCondition& event_;
  TWaker* const outer_;
};

}  // namespace

TEvent::TEvent() noexcept = default;
TEvent::~TEvent() = default;

void TEvent::Set() noexcept {
  pthread_mutex_lock(&native_->mutex);
  native_->isSet = true;
  // Signalled under the mutex, because a waiter may destroy the event as soon as it gets the mutex.
  pthread_cond_signal(&native_->condition);
  pthread_mutex_unlock(&native_->mutex);
}

// With the mutex held: waits until set, woken or due. Returns true if set.
bool TEvent::TNative::Wait(const bool& woken, std::int64_t due) noexcept {
  while (!isSet && !woken && !IsOver(due)) WaitUntil(due);
  return std::exchange(isSet, false);
}

// Answers one message per round, so that a flood of messages does not hide the event or the timeout. Messages
// that arrive during an answer wake the innermost wait, if any; otherwise the next round finds them.
bool TEvent::TNative::WaitAnsweringSentMessages(TThreadQueue& queue, std::int64_t due) noexcept {
  TEventWaker waker(queue, *this);
  for (;;) {
    const bool answered = queue.AnswerSent();
    pthread_mutex_lock(&mutex);
    waker.woken = waker.woken || answered;
    const bool wasSet = Wait(waker.woken, due);
    waker.woken = false;
    pthread_mutex_unlock(&mutex);
    if (wasSet) return true;
    if (IsOver(due)) return false;
  }
}

bool TEvent::Wait(int timeoutMs) noexcept {
  if (timeoutMs != 0) AssertNoLockHeld("TEvent::Wait");
  const std::int64_t due = timeoutMs < 0 ? INT64_MAX : MonotonicNs() + std::int64_t{timeoutMs} * 1'000'000;
  TThreadQueue* const queue = TThreadQueue::OfThisThread();
  const bool justLook = timeoutMs == 0 || queue;
  pthread_mutex_lock(&native_->mutex);
  const bool wasSet = native_->Wait(justLook, due);
  pthread_mutex_unlock(&native_->mutex);
  if (wasSet || timeoutMs == 0 || !queue) return wasSet;
  return native_->WaitAnsweringSentMessages(*queue, due);
}

}  // namespace Dova::Os
