#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "platform/os/Clock.h"
#include "platform/os/Process.h"

namespace Dova {

class TTimerQueue;

enum TOnTimerStyle {
  ots_OneShot = 0,  // one expiry per Start
};

// A one-shot timer. It stays with the queue that was current when it was created.
//
// Threads: Start and Stop are thread-safe, also inside any expiry, including this timer's own. Expiries run
// without any lock of the library. Expiries of one timer never overlap; those of different timers may.
class TTimerBase {
 public:
  TTimerBase(const TTimerBase&) = delete;
  TTimerBase& operator=(const TTimerBase&) = delete;

  // Requests one expiry `ms` milliseconds from now, never earlier, replacing the previous request. A later
  // time than before needs no lock and wakes no thread. Does nothing in a forked child of the process that
  // created the timer.
  void Start(unsigned ms) noexcept;

  // Start for a timer that is postponed often, always by the same `ms`: once per tick of the system is enough
  // (Os::Tick). The time counts from the last call or the end of its tick.
  void Postpone(unsigned ms) noexcept;

  // Cancels the request. An expiry that has begun, or is just beginning on another thread, still runs.
  void Stop() noexcept { due_.store(Os::kNever); }

 protected:
  explicit TTimerBase(TOnTimerStyle style);  // throws std::bad_alloc
  virtual ~TTimerBase();

  // Must be called by the destructor of the most derived class, before anything OnExpiry needs is destroyed.
  // Disarms and waits until no expiry is running on another thread. From inside this timer's own expiry it
  // does not wait, and the timer is not accessed after that expiry returns. A waiting thread keeps answering
  // messages sent to its windows.
  void Close() noexcept;

 private:
  friend class TTimerQueue;
  friend class TTimerHeap;
  struct TRun;

  static constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

  virtual void OnExpiry() = 0;

  bool IsInherited() const noexcept { return generation_ != Os::ProcessGeneration(); }

  TTimerQueue& queue_;
  const unsigned generation_ = Os::ProcessGeneration();
  // Requested expiry time. Written without a lock; TTimerQueue.cpp explains how the two atomics interact.
  std::atomic<Os::TTime> due_{Os::kNever};
  std::atomic<std::int64_t> postponedTick_{-1};
  // When the queue will check this timer, Os::kNever if it will not. Written under the queue's lock.
  std::atomic<Os::TTime> queued_{Os::kNever};
  // Guarded by the queue's lock:
  std::size_t heapIndex_ = kNowhere;
  std::uint64_t sequence_ = 0;
  TRun* run_ = nullptr;
  bool closed_ = false;
};

}  // namespace Dova
