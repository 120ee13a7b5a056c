// How arming works without a lock. A timer has two moments: due_, when its expiry is wanted, and queued_,
// when the queue will look at it; the heap is sorted by the latter. Start writes due_ and then reads queued_:
// if the queue looks in time anyway, that is all. Otherwise it takes the lock and moves the timer in the
// heap.
//
// The queue, when it looks, first takes the timer out (queued_ = never) and then reads due_. All four
// accesses are in one total order, so either the queue sees the new due_, or Start sees that the queue will
// not look and takes the lock; a Start that was overtaken is never lost. A timer that turns out to be wanted
// later goes back into the heap with that moment; one that was stopped stays out.
//
// While its expiry runs a timer is never in the heap, so it cannot run twice at once; the end of the run puts
// it back.
#include "platform/runtime/TTimerQueue.h"

#include "platform/os/Event.h"
#include "platform/runtime/TThreadTimerQueue.h"

namespace Dova {
namespace {

constinit std::atomic<TTimerQueue*> replacement{nullptr};

const Os::TForkedChildStep forgetReplacement([]() noexcept { replacement.store(nullptr); });

}  // namespace

TTimerQueue& TTimerQueue::Current() noexcept {
  TTimerQueue* const queue = replacement.load(std::memory_order_acquire);
  return queue != nullptr ? *queue : TThreadTimerQueue::Instance();
}

void TTimerQueue::Replace(TTimerQueue* queue) noexcept {
  replacement.store(queue, std::memory_order_release);
}

void TTimerQueue::Attach() {
  TLock lock(mutex_);
  heap_.Reserve(timers_ + 1);
  ++timers_;
  if (LacksThread()) OnSooner(lock);
}

void TTimerQueue::Detach(TTimerBase& timer) noexcept {
  // Nobody runs expiries any more, and a thread that was ended may have taken the lock with it.
  if (Os::ProcessIsExiting() || timer.IsInherited()) return;
  TLock lock(mutex_);
  timer.due_.store(kNever);
  if (TTimerHeap::Holds(timer)) heap_.Remove(timer);
  if (TRun* const run = timer.run_; run != nullptr) {
    if (run->thread == Os::CurrentThreadToken()) {
      run->destroyed = true;
    } else {
      Os::TEvent ended;
      run->waiter = &ended;
      lock.unlock();
      ended.Wait();
      lock.lock();
    }
  }
  if (--timers_ == 0) OnLastGone(lock);
}

void TTimerQueue::Arm(TTimerBase& timer) noexcept {
  if (Os::ProcessIsExiting() || timer.IsInherited()) return;
  TLock lock(mutex_);
  // The end of the run will see what is wanted.
  const bool sooner = timer.run_ == nullptr && PutAsDue(timer);
  if (sooner || LacksThread()) OnSooner(lock);
}

// Sees to it that the queue looks at the timer in time; true when that is earlier than anything it looks at.
bool TTimerQueue::PutAsDue(TTimerBase& timer) noexcept {
  const std::int64_t due = timer.due_.load();
  if (due >= timer.queued_.load(std::memory_order_relaxed)) return false;
  heap_.Put(timer, due);
  return heap_.Top() == &timer;
}

TTimerBase* TTimerQueue::TakeDue(std::int64_t now) noexcept {
  while (heap_.TopKey() <= now && !heap_.Empty()) {
    const std::int64_t key = heap_.TopKey();
    TTimerBase& timer = const_cast<TTimerBase&>(*heap_.Top());
    heap_.Remove(timer);
    std::int64_t due = timer.due_.load();
    while (due <= key) {
      if (timer.due_.compare_exchange_weak(due, kNever)) return &timer;
    }
    // Wanted later than at `key`, if at all: others may come before it.
    PutAsDue(timer);
  }
  return nullptr;
}

bool TTimerQueue::EndRun(TTimerBase& timer, const TRun& run) noexcept {
  if (run.destroyed) return false;
  timer.run_ = nullptr;
  if (run.waiter != nullptr) {
    run.waiter->Set();
    return false;
  }
  return PutAsDue(timer);
}

}  // namespace Dova
