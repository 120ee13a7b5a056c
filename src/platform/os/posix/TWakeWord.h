#pragma once

#include <atomic>
#include <cstdint>

namespace Dova::Os {

// A flag to sleep on: one Set releases one Take or WaitUntil, current or future; Sets do not accumulate.
// Setting it makes a system call only if a thread sleeps. A thread released by Set may destroy the word at
// once. There is nothing that a fork could leave locked.
class TWakeWord {
 public:
  void Set() noexcept {
    Change([](std::uint32_t seen) { return seen | kSet; });
  }

  // Every waiter looks at its `over` again.
  void Stir() noexcept {
    Change([](std::uint32_t seen) { return seen + kStirred; });
  }

  // True if it was set.
  bool Take() noexcept;

  // True as soon as it is set; false at `dueNs` of the monotonic clock (INT64_MAX: never), and once `over`,
  // after which Stir must be called.
  bool WaitUntil(std::int64_t dueNs, const std::atomic<bool>& over = kNever) noexcept;

 private:
  static constexpr std::uint32_t kSet = 1;
  static constexpr std::uint32_t kAsleep = 2;   // a thread may be sleeping
  static constexpr std::uint32_t kStirred = 4;  // and above: a count, so that who is about to sleep does not
  static inline const std::atomic<bool> kNever{false};

  template <class TChanged>
  void Change(TChanged changed) noexcept {
    std::uint32_t seen = word_.load();
    while (!word_.compare_exchange_weak(seen, changed(seen) & ~kAsleep)) continue;
    if ((seen & kAsleep) != 0) WakeAll();
  }
  void WakeAll() noexcept;
  void Sleep(std::uint32_t seen, std::int64_t dueNs) noexcept;

  std::atomic<std::uint32_t> word_{0};
};

}  // namespace Dova::Os
