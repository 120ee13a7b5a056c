#pragma once

#include <cstdint>
#include <vector>

#include "platform/runtime/TTimerBase.h"

namespace Dova {

// Timers by the moment at which the queue looks at them (queued_), earliest first; of equal ones the one that
// was put there first. Each knows its place, so that any can be moved or removed in O(log n). The queue's
// lock guards it.
class TTimerHeap {
 public:
  bool Empty() const noexcept { return timers_.empty(); }
  const TTimerBase* Top() const noexcept { return timers_.front(); }
  std::int64_t TopKey() const noexcept { return timers_.empty() ? TTimerBase::kNever : Key(timers_.front()); }

  static bool Holds(const TTimerBase& timer) noexcept { return timer.heapIndex_ != TTimerBase::kNowhere; }

  // Makes room for `count` timers, so that Put cannot fail.
  void Reserve(std::size_t count) {
    if (count > timers_.capacity()) timers_.reserve(2 * count);
  }

  // Puts the timer in, or moves it when it is there.
  void Put(TTimerBase& timer, std::int64_t key) noexcept;
  void Remove(TTimerBase& timer) noexcept;

 private:
  static std::int64_t Key(const TTimerBase* timer) noexcept {
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
