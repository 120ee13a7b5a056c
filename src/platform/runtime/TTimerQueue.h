#pragma once

#include <cstdint>
#include <mutex>

#include "platform/os/Mutex.h"
#include "platform/os/Thread.h"
#include "platform/runtime/TTimerBase.h"
#include "platform/runtime/TTimerHeap.h"

namespace Dova {

// A clock and the timers that use it. The production queue runs expiries on its own threads; tests substitute
// one with virtual time.
class TTimerQueue {
 public:
  TTimerQueue(const TTimerQueue&) = delete;
  TTimerQueue& operator=(const TTimerQueue&) = delete;

  // The queue used by timers and limiters created from now on.
  static TTimerQueue& Current() noexcept;

  // Makes `queue` the current one, or the production queue if null. It must outlive the timers and limiters
  // created meanwhile.
  static void Replace(TTimerQueue* queue) noexcept;

  virtual Os::TTime Now() const noexcept = 0;

  // A number that changes with the time, at least every TickMs.
  virtual std::int64_t Tick() const noexcept { return Now().time_since_epoch().count(); }
  virtual unsigned TickMs() const noexcept { return 0; }

  // Timers wait for a thread that could not be started, and nobody will ask for it again.
  virtual bool IsStuck() noexcept { return false; }

 protected:
  using TLock = std::unique_lock<Os::TMutex>;
  // A running expiry; lives on the stack of its thread.
  using TRun = TTimerBase::TRun;

  constexpr TTimerQueue() = default;
  virtual ~TTimerQueue() = default;

  // Both are called with the lock held, and may release it as their last action.
  //
  // The queue must check a timer earlier than planned, or a thread for that is missing.
  virtual void OnSooner(TLock& lock) noexcept = 0;
  // No timer is left.
  virtual void OnLastGone(TLock& lock) noexcept = 0;

  // With the lock held: the earliest time at which a timer may be due.
  Os::TTime NextLook() const noexcept { return heap_.TopKey(); }

  // With the lock held: removes and disarms the first timer due at `now`; null if there is none.
  TTimerBase* TakeDue(Os::TTime now) noexcept;

  // Runs the expiry of a timer returned by TakeDue: releases the lock, calls `beforeExpiry`, runs the expiry,
  // and takes the lock again, also if the expiry is unwound. Returns true if the timer was armed meanwhile
  // and is now the earliest. In a child forked by the expiry the lock stays released.
  template <class TBeforeExpiry>
  bool Run(TTimerBase& timer, TLock& lock, TBeforeExpiry beforeExpiry);

  // True if timers wait for a thread that could not be started. Start reads it without the lock.
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
  Os::TEvent* waiter = nullptr;  // set at the end, for a destructor on another thread
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
  TTimerBase& timer_;  // may be destroyed when the run ends
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
