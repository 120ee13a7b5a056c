#pragma once

#ifndef _WIN32
#include <mutex>
#endif

namespace Dova::Os {

// A mutex without memory or system handles, so locking cannot fail.
class TBareMutex {
 public:
  constexpr TBareMutex() noexcept = default;
  TBareMutex(const TBareMutex&) = delete;
  TBareMutex& operator=(const TBareMutex&) = delete;

#ifdef _WIN32
  void lock() noexcept;
  bool try_lock() noexcept;
  void unlock() noexcept;

 private:
  void* native_ = nullptr;  // an SRWLOCK
#else
  void lock() noexcept {
    native_.lock();
  }
  bool try_lock() noexcept {
    return native_.try_lock();
  }
  void unlock() noexcept {
    native_.unlock();
  }

 private:
  std::mutex native_;
#endif
};

// Aborts in debug and sanitizer builds (VEKAPI_CHECKED) if the calling thread holds a TMutex; the text names
// `waiter`. Must be called first by any function that may wait for another thread or answer sent messages.
#ifdef VEKAPI_CHECKED
void AssertNoLockHeld(const char* waiter) noexcept;
void CountLock(int change) noexcept;
#else
inline void AssertNoLockHeld(const char* /*waiter*/) noexcept {}
inline void CountLock(int /*change*/) noexcept {}
#endif

// A leaf lock of the library: its holder must not wait or call back. Lockable, so it works with
// std::lock_guard, std::unique_lock and std::condition_variable_any.
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
