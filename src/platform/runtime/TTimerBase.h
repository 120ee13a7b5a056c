#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "platform/os/Process.h"

namespace Dova {

class TTimerQueue;

enum TOnTimerStyle {
  ots_OneShot = 0,  // one expiry for each Start
};

// A one-shot timer. It stays with the queue that was the current one when it was made.
//
// Threads: Start and Stop may be called on any thread, also inside any expiry, this timer's own included.
// Expiries run without any lock of the library held; expiries of one timer never overlap, those of different
// timers may.
class TTimerBase {
 public:
  TTimerBase(const TTimerBase&) = delete;
  TTimerBase& operator=(const TTimerBase&) = delete;

  // Asks for one expiry, `ms` milliseconds from now or as soon after as the system can: never earlier.
  // Replaces what was asked for before. Asking for a later time than before costs no lock and wakes nobody.
  // Does nothing in a child of the process in which the timer was made.
  void Start(unsigned ms) noexcept;

  // Takes back what was asked for. An expiry that has begun, or is just beginning on another thread, still
  // runs.
  void Stop() noexcept { due_.store(kNever); }

 protected:
  explicit TTimerBase(TOnTimerStyle style);  // throws std::bad_alloc
  virtual ~TTimerBase();

  // To be called by the destructor of the most derived class, before anything goes that OnExpiry needs.
  // Disarms and waits until no expiry is running on another thread; from inside this timer's own expiry it
  // does not wait, and nothing touches the timer once that expiry returns. A thread that waits here keeps
  // answering messages sent to its windows.
  void Close() noexcept;

 private:
  friend class TTimerQueue;
  friend class TTimerHeap;
  struct TRun;

  static constexpr std::int64_t kNever = INT64_MAX;
  static constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

  virtual void OnExpiry() = 0;

  bool IsInherited() const noexcept { return generation_ != Os::ProcessGeneration(); }

  TTimerQueue& queue_;
  const unsigned generation_ = Os::ProcessGeneration();
  // When the expiry is wanted. Written without a lock; TTimerQueue.cpp says how the two atomics play
  // together.
  std::atomic<std::int64_t> due_{kNever};
  // When the queue will look at this timer, kNever when it will not. Written under the queue's lock.
  std::atomic<std::int64_t> queued_{kNever};
  // Under the queue's lock:
  std::size_t heapIndex_ = kNowhere;
  std::uint64_t sequence_ = 0;
  TRun* run_ = nullptr;
  bool closed_ = false;
};

}  // namespace Dova
