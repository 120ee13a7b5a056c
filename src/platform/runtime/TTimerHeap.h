#pragma once

#include <cstdint>
#include <vector>

#include "platform/runtime/TTimerBase.h"

namespace Dova {

// Timers ordered by the time at which the queue checks them (queued_), FIFO for equal times. Each knows its
// index, so any can be moved or removed in O(log n). Guarded by the queue's lock.
class TTimerHeap {
 public:
  bool Empty() const noexcept { return timers_.empty(); }
  const TTimerBase* Top() const noexcept { return timers_.front(); }
  Os::TTime TopKey() const noexcept { return timers_.empty() ? Os::kNever : Key(timers_.front()); }

  static bool Holds(const TTimerBase& timer) noexcept { return timer.heapIndex_ != TTimerBase::kNowhere; }

  // Reserves space for `count` timers, so that Put cannot fail.
  void Reserve(std::size_t count) {
    if (count > timers_.capacity()) timers_.reserve(2 * count);
  }

  // Inserts the timer, or moves it if already present.
  void Put(TTimerBase& timer, Os::TTime key) noexcept;
  void Remove(TTimerBase& timer) noexcept;

 private:
  static Os::TTime Key(const TTimerBase* timer) noexcept {
    return timer->queued_.load(std::memory_order_relaxed);
  }
  static bool Before(const TTimerBase* left, const TTimerBase* right) noexcept;
  void SetAt(std::size_t index, TTimerBase* timer) noexcept;
  void SiftUp(std::size_t index) noexcept;
  void SiftDown(std::size_t index) noexcept;

  std::vector<TTimerBase*> timers_;
  std::uint64_t sequence_ = 0;
};

}  // namespace Dova
