// Found before the library's own header: mutexes of simulated threads.
#pragma once

namespace vektest {
struct Task;
}

namespace Dova::Os {

class TBareMutex {
 public:
  constexpr TBareMutex() noexcept = default;
  TBareMutex(const TBareMutex&) = delete;
  TBareMutex& operator=(const TBareMutex&) = delete;

  void lock() noexcept;
  bool try_lock() noexcept;
  void unlock() noexcept;

 private:
  bool locked_ = false;
  vektest::Task* waiting_ = nullptr;
};

void AssertNoLockHeld(const char* waiter) noexcept;
void CountLock(int change) noexcept;

class TMutex {
 public:
  constexpr TMutex() noexcept = default;

  void lock() noexcept {
    mutex_.lock();
    CountLock(1);
  }
  bool try_lock() noexcept {
    const bool locked = mutex_.try_lock();
    if (locked) CountLock(1);
    return locked;
  }
  void unlock() noexcept {
    CountLock(-1);
    mutex_.unlock();
  }

 private:
  TBareMutex mutex_;
};

}  // namespace Dova::Os
