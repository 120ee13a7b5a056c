#include "platform/os/Event.h"

#include "platform/os/Clock.h"
#include "platform/os/Mutex.h"
#include "platform/os/posix/TWakeWord.h"
#include "platform/os/posix/ThreadQueue.h"

namespace Dova::Os {

struct TEvent::TNative : TWakeWord {
  bool WaitAnsweringSentMessages(TThreadQueue& queue, std::int64_t due) noexcept;
};

namespace {

// Ends a thread's wait for an event when a message is sent to one of its windows.
class TEventWaker final : public TThreadQueue::TWaker {
 public:
  TEventWaker(TThreadQueue& queue, TWakeWord& event)
      : queue_(queue), event_(event), outer_(queue.SetWaker(this)) {}
  ~TEventWaker() { queue_.SetWaker(outer_); }
  TEventWaker(const TEventWaker&) = delete;
  TEventWaker& operator=(const TEventWaker&) = delete;

  void Wake() noexcept override {
    woken.store(true);
    event_.Stir();
  }

  std::atomic<bool> woken{false};

 private:
  TThreadQueue& queue_;
  TWakeWord& event_;
  TWaker* const outer_;
};

}  // namespace

TEvent::TEvent() noexcept = default;
TEvent::~TEvent() = default;

void TEvent::Set() noexcept {
  native_->Set();
}

// Answers one message per round, so that a flood of messages does not hide the event or the timeout. Messages
// that arrive during an answer wake the innermost wait, if any; otherwise the next round finds them.
bool TEvent::TNative::WaitAnsweringSentMessages(TThreadQueue& queue, std::int64_t due) noexcept {
  TEventWaker waker(queue, *this);
  for (;;) {
    waker.woken.store(false);
    if (queue.AnswerSent() ? Take() : WaitUntil(due, waker.woken)) return true;
    if (due != INT64_MAX && MonotonicNs() >= due) return false;
  }
}

bool TEvent::Wait(int timeoutMs) noexcept {
  if (timeoutMs != 0) AssertNoLockHeld("TEvent::Wait");
  if (native_->Take()) return true;
  if (timeoutMs == 0) return false;
  const std::int64_t due = timeoutMs < 0 ? INT64_MAX : MonotonicNs() + std::int64_t{timeoutMs} * 1'000'000;
  TThreadQueue* const queue = TThreadQueue::OfThisThread();
  return queue ? native_->WaitAnsweringSentMessages(*queue, due) : native_->WaitUntil(due);
}

}  // namespace Dova::Os
