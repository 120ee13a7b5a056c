#pragma once

#include <atomic>
#include <cstdint>

#include "flowctrl/TCooling.h"
#include "platform/runtime/TRecursiveMutex.h"
#include "platform/runtime/TTimerQueue.h"

namespace Dova {

// What a check does if a slot is free.
enum ECheckFlowCtrlFlag {
  fcf_NoAck = 0,     // counts one request that is not acknowledged
  fcf_OnlyLook = 1,  // counts nothing
  fcf_WaitAck = 2,   // counts one request that will be acknowledged
};

// Limits requests to `count` in any `ms` milliseconds, as seen by the receiver of the requests.
//
// There are `count` slots. A request takes a free slot and is outstanding. Its acknowledgement shows that the
// server has received it (acknowledgements give a number, not an identity: the oldest outstanding requests
// count); from then on the slot cools for `ms` and is then free. The slot of a request that is not
// acknowledged cools from the time it was sent.
//
// Example, 2 requests in 1000 ms:
//   at    0 ms  first and second request: both sent, both slots outstanding
//   at   10 ms  third request: refused, result negative, unknown before an acknowledgement
//   at  300 ms  one acknowledgement: one slot cools until 1300 ms
//   at  400 ms  third request: refused, result 900
//   at 1300 ms  third request: sent
// However late the first request reached the server, it was there by 300 ms, and the third is sent 1000 ms
// after that. So on a link that keeps the order of requests, and with correct acknowledgements, the server
// never counts more than 2 within any 1000 ms. Whatever is acknowledged, no more than 2 are sent within any
// 1000 ms.
//
// Without a rate every request is allowed and none is counted. Setting a rate allocates at most 24 KiB, and
// does not fail without memory: slots that share an entry then cool longer than necessary. Beyond 1024 slots
// they always share entries, and cool up to a thousandth of `ms` longer. The clock is that of the timer queue
// that is current when the limiter is created.
//
// Threads: everything is thread-safe if the limiter has its own mutex.
class TFlowCtrl {
 public:
  // If `ownMutex` is false, the limiter does not lock: one thread at a time.
  explicit TFlowCtrl(bool ownMutex) noexcept;
  ~TFlowCtrl() = default;
  TFlowCtrl(const TFlowCtrl&) = delete;
  TFlowCtrl& operator=(const TFlowCtrl&) = delete;

  // Removes the rate and the history.
  void Clear() noexcept;

  // Allows at most `count` requests within any `ms` milliseconds from now on. Outstanding and cooling slots
  // keep their state, with the new time. If either number is below 1, same as Clear.
  void SetFlowCtrl(int count, int ms) noexcept;

  // Clear and SetFlowCtrl in one step: no concurrent check finds the limiter without a rate.
  void Restart(int count, int ms) noexcept;

  // `n` requests were acknowledged now. Returns how many of them were outstanding; the rest is ignored. If
  // not 0, a gate that was closed without a known delay now has one and must be checked again.
  unsigned SetAckTime(unsigned n) noexcept;

  // Returns the slots of `n` requests that were counted as outstanding but not sent after all.
  void GiveBack(unsigned n) noexcept;

  // Counts `n` requests sent before there was a rate as outstanding, since their acknowledgements will
  // arrive.
  void AddOut(unsigned n) noexcept;

  // As CheckFlowCtrlWaitAck, but counts nothing.
  int Look() noexcept;

  // 0: one request allowed, and counted as outstanding. Positive: milliseconds after which to ask again.
  // Negative: not before an acknowledgement.
  int CheckFlowCtrlWaitAck() noexcept;

  // 0: one request allowed, and counted; `waitAck` says whether it will be acknowledged. Otherwise
  // milliseconds after which to ask again: 1 if only an acknowledgement can free a slot.
  unsigned CheckFlowCtrl(bool waitAck) noexcept;

  // True if a rate is set. Takes no lock.
  bool IsActive() const noexcept { return count_.load(std::memory_order_acquire) != 0; }

  // Holds the limiter's mutex; recursive.
  class Locker {
   public:
    explicit Locker(const TFlowCtrl& limiter) noexcept : limiter_(limiter) {
      if (limiter_.ownMutex_) limiter_.mutex_.lock();
    }
    ~Locker() {
      if (limiter_.ownMutex_) limiter_.mutex_.unlock();
    }
    Locker(const Locker&) = delete;
    Locker& operator=(const Locker&) = delete;

   private:
    const TFlowCtrl& limiter_;
  };

 protected:
  // With the lock held; results as for CheckFlowCtrlWaitAck.
  int CheckFlowCtrl_AfLock(ECheckFlowCtrlFlag flag) noexcept;

 private:
  void Forget() noexcept;
  void Configure(int count, int ms) noexcept;
  int WaitMs(Os::TTime now) const noexcept;

  const TTimerQueue& clock_;
  const bool ownMutex_;
  mutable TRecursiveMutex mutex_;
  std::atomic<int> count_{0};
  // Guarded by the mutex:
  std::int64_t out_ = 0;
  TCooling cooling_;
};

}  // namespace Dova
