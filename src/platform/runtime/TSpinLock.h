#pragma once

#include <atomic>
#include <thread>

#include "platform/os/Mutex.h"

namespace Dova {

// For critical sections of a few instructions with hardly any contention. BasicLockable.
class TSpinLock {
 public:
  void lock() noexcept {
    while (flag_.test_and_set(std::memory_order_acquire)) std::this_thread::yield();
    Os::CountLock(1);
  }
  void unlock() noexcept {
    Os::CountLock(-1);
    flag_.clear(std::memory_order_release);
  }

 private:
  std::atomic_flag flag_ = ATOMIC_FLAG_INIT;
};

}  // namespace Dova
