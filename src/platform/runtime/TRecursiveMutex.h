#pragma once

#include <atomic>

#include "platform/os/Mutex.h"
#include "platform/os/Process.h"
#include "platform/os/Thread.h"

namespace Dova {

// A recursive mutex. BasicLockable.
//
// Unlike std::recursive_mutex it can tell whether the calling thread holds it, and in a forked child that
// inherited it nobody waits for it, because its holder may not exist there. What it guards may be half
// changed.
class TRecursiveMutex {
 public:
  void lock() noexcept {
    if (IsInherited()) return;
    const std::uintptr_t self = Os::CurrentThreadToken();
    // Only this thread can have stored its own token.
    if (owner_.load(std::memory_order_relaxed) != self) {
      mutex_.lock();
      owner_.store(self, std::memory_order_relaxed);
    }
    ++depth_;
  }

  void unlock() noexcept {
    if (IsInherited() || --depth_ != 0) return;
    owner_.store(0, std::memory_order_relaxed);
    mutex_.unlock();
  }

  bool IsHeldHere() const noexcept {
    return owner_.load(std::memory_order_relaxed) == Os::CurrentThreadToken();
  }

  bool IsInherited() const noexcept { return generation_ != Os::ProcessGeneration(); }

 private:
  Os::TBareMutex mutex_;
  std::atomic<std::uintptr_t> owner_{0};
  unsigned depth_ = 0;
  const unsigned generation_ = Os::ProcessGeneration();
};

}  // namespace Dova
