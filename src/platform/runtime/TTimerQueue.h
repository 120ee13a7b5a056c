#pragma once

#include <cstdint>
#include <mutex>

#include "platform/os/Mutex.h"
#include "platform/os/Thread.h"
#include "platform/runtime/TTimerBase.h"
#include "platform/runtime/TTimerHeap.h"

namespace Dova {

// A clock and the timers that go by it. The real one runs expiries on threads of its own; tests put another
// in its place in which time goes by as they say.
class TTimerQueue {
 public:
  TTimerQueue(const TTimerQueue&) = delete;
  TTimerQueue& operator=(const TTimerQueue&) = delete;

  // The queue that timers and limiters made from now on belong to.
  static TTimerQueue& Current() noexcept;

  // Makes `queue` the current one; null: the real one again. It must outlive what is made meanwhile.
  static void Replace(TTimerQueue* queue) noexcept;

  // Nanoseconds of a clock that never goes back.
  virtual std::int64_t NowNs() const noexcept = 0;

 protected:
  using TLock = std::unique_lock<Os::TMutex>;
  static constexpr std::int64_t kNever = TTimerBase::kNever;

  // An expiry that is running; lives on the stack of the thread that runs it.
  using TRun = TTimerBase::TRun;

  constexpr TTimerQueue() = default;
  virtual ~TTimerQueue() = default;

  // With the lock held, which each may release as the last thing that it does:
  // The queue has to look at a timer earlier than it thought, or lacks a thread that would.
  virtual void OnSooner(TLock& lock) noexcept = 0;
  // No timer is left.
  virtual void OnLastGone(TLock& lock) noexcept = 0;

  // With the lock held: the earliest moment at which something may be due.
  std::int64_t NextLook() const noexcept { return heap_.TopKey(); }

  // With the lock held: the timer that is due first at `now`, taken out and disarmed; null when there is
  // none.
  TTimerBase* TakeDue(std::int64_t now) noexcept;

  // Runs the expiry of a timer that TakeDue gave: releases the lock, calls `beforeExpiry`, runs it and takes
  // the lock again, also when the expiry is unwound. True when the timer was armed meanwhile and is now the
  // earliest. In a child that was forked by the expiry the lock stays released.
  template <class TBeforeExpiry>
  bool Run(TTimerBase& timer, TLock& lock, TBeforeExpiry beforeExpiry);

  // Whether timers wait for a thread that could not be had. Read by Start without the lock.
  bool LacksThread() const noexcept { return lacksThread_.load(std::memory_order_relaxed); }
  void SetLacksThread(bool lacks) noexcept { lacksThread_.store(lacks, std::memory_order_relaxed); }

  Os::TMutex mutex_;

 private:
  friend class TTimerBase;
  class TRunEnd;

  void Attach();
  void Detach(TTimerBase& timer) noexcept;
  void Arm(TTimerBase& timer) noexcept;
  bool PutAsDue(TTimerBase& timer) noexcept;
  bool EndRun(TTimerBase& timer, const TRun& run) noexcept;

  std::atomic<bool> lacksThread_{false};
  TTimerHeap heap_;
  std::size_t timers_ = 0;
};

namespace Os {
class TEvent;
}

struct TTimerBase::TRun {
  std::uintptr_t thread;
  bool destroyed = false;        // the expiry destroyed its own timer
  Os::TEvent* waiter = nullptr;  // set when it has ended, for a destructor on another thread
};

class TTimerQueue::TRunEnd {
 public:
  TRunEnd(TTimerQueue& queue, TTimerBase& timer, TLock& lock, bool& sooner) noexcept
      : queue_(queue), timer_(timer), lock_(lock), sooner_(sooner) {
    timer.run_ = &run_;
    lock.unlock();
  }
  ~TRunEnd() {
    if (generation_ != Os::ProcessGeneration()) return;
    lock_.lock();
    sooner_ = queue_.EndRun(timer_, run_);
  }
  TRunEnd(const TRunEnd&) = delete;
  TRunEnd& operator=(const TRunEnd&) = delete;

 private:
  TTimerQueue& queue_;
  TTimerBase& timer_;  // may be gone when the run ends
  TLock& lock_;
  bool& sooner_;
  TRun run_{Os::CurrentThreadToken()};
  const unsigned generation_ = Os::ProcessGeneration();
};

template <class TBeforeExpiry>
bool TTimerQueue::Run(TTimerBase& timer, TLock& lock, TBeforeExpiry beforeExpiry) {
  bool sooner = false;
  {
    const TRunEnd end(*this, timer, lock, sooner);
    beforeExpiry();
    timer.OnExpiry();
  }
  return sooner;
}

}  // namespace Dova
