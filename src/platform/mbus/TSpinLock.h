#pragma once

#include <atomic>
#include <thread>

namespace Dova {

// For a handful of instructions that threads hardly ever meet in. BasicLockable.
class TSpinLock {
 public:
  void lock() noexcept {
    while (flag_.test_and_set(std::memory_order_acquire)) std::this_thread::yield();
  }
  void unlock() noexcept { flag_.clear(std::memory_order_release); }

 private:
  std::atomic_flag flag_ = ATOMIC_FLAG_INIT;
};

}  // namespace Dova
