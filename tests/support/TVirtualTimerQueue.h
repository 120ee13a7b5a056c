#pragma once

#include <atomic>

#include "platform/runtime/TTimerQueue.h"

namespace TestSupport {

// A timer queue with virtual time, which stands still until advanced. Expiries run on the thread that
// advances it, in the order of their due times. It is the current queue during its lifetime; timers and
// limiters created meanwhile must be destroyed before it. Other threads may arm, stop and destroy timers; one
// thread at a time advances, not from inside an expiry.
class TVirtualTimerQueue final : public Dova::TTimerQueue {
 public:
  TVirtualTimerQueue() { Replace(this); }
  ~TVirtualTimerQueue() override { Replace(nullptr); }

  std::int64_t NowNs() const noexcept override { return now_.load(); }

  // Advances the time and runs all expiries due, including those armed by expiries for a time within it.
  void Advance(unsigned ms) { AdvanceTo(NowNs() + std::int64_t{ms} * 1'000'000); }

  void AdvanceTo(std::int64_t toNs) {
    TLock lock(mutex_);
    for (;;) {
      // One due time after the other: an expiry may arm a timer that is due before the next one.
      const std::int64_t next = NextLook();
      if (next == kNever || next > toNs) break;
      Dova::TTimerBase* const due = TakeDue(next);
      if (due == nullptr) continue;
      MoveTo(next);
      Run(*due, lock, [] {});
    }
    MoveTo(toNs);
  }

 private:
  void MoveTo(std::int64_t ns) {
    if (ns > now_.load()) now_.store(ns);
  }

  void OnSooner(TLock&) noexcept override {}
  void OnLastGone(TLock&) noexcept override {}

  std::atomic<std::int64_t> now_{1'000'000'000};
};

}  // namespace TestSupport
