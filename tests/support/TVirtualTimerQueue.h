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

  Dova::Os::TTime Now() const noexcept override { return now_.load(); }
  std::int64_t Tick() const noexcept override { return NowNs() / (tickMs > 0 ? tickMs * 1'000'000 : 1); }
  unsigned TickMs() const noexcept override { return tickMs; }
  std::int64_t NowNs() const noexcept { return Now().time_since_epoch().count(); }

  // Advances the time and runs all expiries due, including those armed by expiries for a time within it.
  void Advance(unsigned ms) { AdvanceTo(Now() + std::chrono::milliseconds(ms)); }
  void AdvanceTo(std::int64_t ns) { AdvanceTo(Dova::Os::TTime(std::chrono::nanoseconds(ns))); }

  // The computer sleeps: timers due meanwhile expire late, when the time is advanced next.
  void Sleep(unsigned ms) { MoveTo(Now() + std::chrono::milliseconds(ms)); }

  unsigned tickMs = 0;

  // How often a timer expired.
  std::size_t Expiries() const { return expiries_; }

  void AdvanceTo(Dova::Os::TTime to) {
    TLock lock(mutex_);
    for (;;) {
      // One due time after another: an expiry may arm a timer that is due before the next one.
      const Dova::Os::TTime next = NextLook();
      if (next == Dova::Os::kNever || next > to) break;
      Dova::TTimerBase* const due = TakeDue(next);
      if (due == nullptr) continue;
      MoveTo(next);
      ++expiries_;
      Run(*due, lock, [] {});
    }
    MoveTo(to);
  }

 private:
  void MoveTo(Dova::Os::TTime to) {
    if (to > now_.load()) now_.store(to);
  }

  void OnSooner(TLock&) noexcept override {}
  void OnLastGone(TLock&) noexcept override {}

  std::atomic<Dova::Os::TTime> now_{Dova::Os::TTime(std::chrono::seconds(1))};
  std::size_t expiries_ = 0;
};

}  // namespace TestSupport
