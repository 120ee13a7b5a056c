#include "flowctrl/TFlowCtrl.h"

#include <algorithm>

namespace Dova {

TFlowCtrl::TFlowCtrl(bool ownMutex) noexcept : clock_(TTimerQueue::Current()), ownMutex_(ownMutex) {}

void TFlowCtrl::Clear() noexcept {
  Restart(0, 0);
}

void TFlowCtrl::SetFlowCtrl(int count, int ms) noexcept {
  const Locker lock(*this);
  if (count < 1 || ms < 1) Forget();
  Configure(count, ms);
}

void TFlowCtrl::Restart(int count, int ms) noexcept {
  const Locker lock(*this);
  Forget();
  Configure(count, ms);
}

void TFlowCtrl::Forget() noexcept {
  out_ = 0;
  cooling_.Clear();
}

void TFlowCtrl::Configure(int count, int ms) noexcept {
  const bool configured = count >= 1 && ms >= 1;
  if (configured) cooling_.Reserve(count, std::chrono::milliseconds(ms));
  count_.store(configured ? count : 0, std::memory_order_release);
}

unsigned TFlowCtrl::SetAckTime(unsigned n) noexcept {
  if (!IsActive()) return 0;
  const Locker lock(*this);
  const std::int64_t acknowledged = std::min<std::int64_t>(n, out_);
  if (acknowledged == 0) return 0;
  out_ -= acknowledged;
  const Os::TTime now = clock_.Now();
  cooling_.FreeUntil(now);
  cooling_.Add(now, acknowledged);
  return static_cast<unsigned>(acknowledged);
}

void TFlowCtrl::GiveBack(unsigned n) noexcept {
  if (!IsActive()) return;
  const Locker lock(*this);
  out_ -= std::min<std::int64_t>(n, out_);
}

void TFlowCtrl::AddOut(unsigned n) noexcept {
  if (!IsActive()) return;
  const Locker lock(*this);
  out_ += n;
}

int TFlowCtrl::Look() noexcept {
  if (!IsActive()) return 0;
  const Locker lock(*this);
  return CheckFlowCtrl_AfLock(fcf_OnlyLook);
}

int TFlowCtrl::CheckFlowCtrlWaitAck() noexcept {
  if (!IsActive()) return 0;
  const Locker lock(*this);
  return CheckFlowCtrl_AfLock(fcf_WaitAck);
}

unsigned TFlowCtrl::CheckFlowCtrl(bool waitAck) noexcept {
  if (!IsActive()) return 0;
  const Locker lock(*this);
  const int answer = CheckFlowCtrl_AfLock(waitAck ? fcf_WaitAck : fcf_NoAck);
  return answer < 0 ? 1U : static_cast<unsigned>(answer);
}

int TFlowCtrl::CheckFlowCtrl_AfLock(ECheckFlowCtrlFlag flag) noexcept {
  // Clear may have been called while this thread waited for the lock.
  const int count = count_.load(std::memory_order_relaxed);
  if (count == 0) return 0;
  // The clock is read only if it matters.
  if (flag != fcf_WaitAck || out_ + cooling_.Slots() >= count) {
    const Os::TTime now = clock_.Now();
    cooling_.FreeUntil(now);
    if (out_ + cooling_.Slots() >= count) return WaitMs(now);
    if (flag == fcf_NoAck) cooling_.Add(now, 1);
  }
  if (flag == fcf_WaitAck) ++out_;
  return 0;
}

// Milliseconds until a slot is free, rounded up; negative if no cooling slot would help.
int TFlowCtrl::WaitMs(Os::TTime now) const noexcept {
  // More than one slot must become free only after the count was lowered.
  const std::int64_t missing = out_ + cooling_.Slots() - count_.load(std::memory_order_relaxed) + 1;
  const Os::TTime freeAt = cooling_.FreeAt(missing);
  if (freeAt == Os::kNever) return -1;
  return static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(freeAt - now).count());
}

}  // namespace Dova
