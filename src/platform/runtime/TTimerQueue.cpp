// Lock-free arming. A timer has two times: due_, when its expiry is requested, and queued_, when the queue
// will check it; the heap is sorted by queued_. Start writes due_ and then reads queued_. If the queue checks
// early enough, nothing else is needed. Otherwise Start takes the lock and moves the timer in the heap.
//
// To check a timer, the queue first removes it (queued_ = never) and then reads due_. All four accesses are
// sequentially consistent, so either the queue sees the new due_, or Start sees that the queue will not check
// and takes the lock; no Start is lost. A timer requested for a later time is put back with that time; a
// stopped one is not.
//
// A timer is never in the heap while its expiry runs, so it cannot run twice concurrently; it is put back at
// the end of the run.
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
  // No expiries run any more, and a killed thread may hold the lock.
  if (Os::ProcessIsExiting() || timer.IsInherited()) return;
  TLock lock(mutex_);
  timer.due_.store(Os::kNever);
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
  // The end of the run will handle the request.
  const bool sooner = timer.run_ == nullptr && PutAsDue(timer);
  if (sooner || LacksThread()) OnSooner(lock);
}

// Makes the queue check the timer in time. Returns true if that is earlier than all its other timers.
bool TTimerQueue::PutAsDue(TTimerBase& timer) noexcept {
  const Os::TTime due = timer.due_.load();
  if (due >= timer.queued_.load(std::memory_order_relaxed)) return false;
  heap_.Put(timer, due);
  return heap_.Top() == &timer;
}

TTimerBase* TTimerQueue::TakeDue(Os::TTime now) noexcept {
  while (heap_.TopKey() <= now && !heap_.Empty()) {
    const Os::TTime key = heap_.TopKey();
    TTimerBase& timer = const_cast<TTimerBase&>(*heap_.Top());
    heap_.Remove(timer);
    Os::TTime due = timer.due_.load();
    while (due <= key) {
      if (timer.due_.compare_exchange_weak(due, Os::kNever)) return &timer;
    }
    // Requested for later than `key`, if at all: other timers may be due first.
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
