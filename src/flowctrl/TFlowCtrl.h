#pragma once

#include <atomic>
#include <cstdint>

#include "flowctrl/TCooling.h"
#include "platform/runtime/TRecursiveMutex.h"
#include "platform/runtime/TTimerQueue.h"

namespace Dova {

// What a check does when there is room.
enum ECheckFlowCtrlFlag {
  fcf_NoAck = 0,     // counts one request that nobody acknowledges
  fcf_OnlyLook = 1,  // counts nothing
  fcf_WaitAck = 2,   // counts one request that waits for its acknowledgement
};

// Limits requests to `count` in any `ms` milliseconds, as the receiver of the requests sees it.
//
// There are `count` slots. A request takes a free one and is out. Its acknowledgement (acknowledgements tell
// how many, not which: the oldest that is out) shows that the server has it, and from then the slot cools for
// `ms`; then it is free. The slot of a request that is not acknowledged cools from its sending.
//
// Example, 2 requests in 1000 ms:
//   at    0 ms  first and second request: both go, both slots are out
//   at   10 ms  third request: refused, answer negative, nothing is known before an acknowledgement
//   at  300 ms  one acknowledgement: one slot cools until 1300 ms
//   at  400 ms  third request: refused, answer 900
//   at 1300 ms  third request goes
// However late the first request reached the server, it was there by 300 ms, and the third leaves 1000 ms
// after that. So on a link that keeps the order of requests, and as long as acknowledgements are true, the
// server never counts more than 2 within any 1000 ms; and whatever acknowledgements claim, no more than 2
// leave within any 1000 ms.
//
// Without a configuration everything may go and nothing is counted. Memory is taken by a configuration, 24
// KiB at most, and nothing fails for lack of it: slots that share an entry then cool longer than they need.
// Beyond 1024 slots they always share, and cool up to a thousandth of `ms` longer. Time is that of the timer
// queue that is the current one when the limiter is made.
//
// Threads: everything may be called on any thread when the limiter has its own mutex.
class TFlowCtrl {
 public:
  // With `ownMutex` false the limiter locks nothing: one thread at a time then.
  explicit TFlowCtrl(bool ownMutex) noexcept;
  ~TFlowCtrl() = default;
  TFlowCtrl(const TFlowCtrl&) = delete;
  TFlowCtrl& operator=(const TFlowCtrl&) = delete;

  // Forgets configuration and history.
  void Clear() noexcept;

  // At most `count` requests within any `ms` milliseconds from now on. What is out or cools stays so (for the
  // new time); with either number below 1 the same as Clear.
  void SetFlowCtrl(int count, int ms) noexcept;

  // Clear and SetFlowCtrl in one step: at no moment does a check find the limiter without a configuration.
  void Restart(int count, int ms) noexcept;

  // `n` requests were acknowledged now. Answers how many of them were out, the rest being ignored; when it is
  // not 0, a gate that was closed without a known delay has one now and must be checked again.
  unsigned SetAckTime(unsigned n) noexcept;

  // 0: one more may go now, and is counted as out. Positive: milliseconds until it may, when asked again
  // then. Negative: not before an acknowledgement.
  int CheckFlowCtrlWaitAck() noexcept;

  // 0: one more may go now, and is counted; `waitAck` tells whether it will be acknowledged. Otherwise the
  // milliseconds after which to ask again: 1 when only an acknowledgement can make room.
  unsigned CheckFlowCtrl(bool waitAck) noexcept;

  // Whether there is a configuration. Takes no lock.
  bool IsActive() const noexcept { return count_.load(std::memory_order_acquire) != 0; }

  // Holds the limiter's mutex; may be nested on one thread.
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
  // With the lock held; the answer as that of CheckFlowCtrlWaitAck.
  int CheckFlowCtrl_AfLock(ECheckFlowCtrlFlag flag) noexcept;

 private:
  void Forget() noexcept;
  void Configure(int count, int ms) noexcept;
  int WaitMs(std::int64_t now) const noexcept;

  const TTimerQueue& clock_;
  const bool ownMutex_;
  mutable TRecursiveMutex mutex_;
  std::atomic<int> count_{0};
  // Under the mutex:
  std::int64_t out_ = 0;
  TCooling cooling_;
};

}  // namespace Dova
