#include "platform/mbus/TFlowCtrl.h"

#include <algorithm>

namespace Dova {
namespace {

constexpr std::int64_t kNsPerMs = 1'000'000;

}  // namespace

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
  coolingSlots_ = 0;
  cooling_.clear();
}

void TFlowCtrl::Configure(int count, int ms) noexcept {
  const bool configured = count >= 1 && ms >= 1;
  periodNs_ = configured ? ms * kNsPerMs : 0;
  count_.store(configured ? count : 0, std::memory_order_release);
}

unsigned TFlowCtrl::SetAckTime(unsigned n) {
  if (!IsActive()) return 0;
  const Locker lock(*this);
  const std::int64_t acknowledged = std::min<std::int64_t>(n, out_);
  if (acknowledged == 0) return 0;
  out_ -= acknowledged;
  const std::int64_t now = clock_.NowNs();
  FreeCooled(now);
  Cool(now, acknowledged);
  return static_cast<unsigned>(acknowledged);
}

int TFlowCtrl::CheckFlowCtrlWaitAck() {
  if (!IsActive()) return 0;
  const Locker lock(*this);
  return CheckFlowCtrl_AfLock(fcf_WaitAck);
}

unsigned TFlowCtrl::CheckFlowCtrl(bool waitAck) {
  if (!IsActive()) return 0;
  const Locker lock(*this);
  const int answer = CheckFlowCtrl_AfLock(waitAck ? fcf_WaitAck : fcf_NoAck);
  return answer < 0 ? 1U : static_cast<unsigned>(answer);
}

int TFlowCtrl::CheckFlowCtrl_AfLock(ECheckFlowCtrlFlag flag) {
  // A Clear may have come while this thread waited for the lock.
  const int count = count_.load(std::memory_order_relaxed);
  if (count == 0) return 0;
  // The clock is asked only when it matters.
  if (flag != fcf_WaitAck || out_ + coolingSlots_ >= count) {
    const std::int64_t now = clock_.NowNs();
    FreeCooled(now);
    if (out_ + coolingSlots_ >= count) return WaitMs(now);
    if (flag == fcf_NoAck) Cool(now, 1);
  }
  if (flag == fcf_WaitAck) ++out_;
  return 0;
}

void TFlowCtrl::FreeCooled(std::int64_t now) noexcept {
  while (!cooling_.empty() && now - cooling_.front().since >= periodNs_) {
    coolingSlots_ -= cooling_.front().slots;
    cooling_.pop_front();
  }
}

void TFlowCtrl::Cool(std::int64_t now, std::int64_t slots) {
  if (cooling_.empty() || cooling_.back().since != now) {
    cooling_.push_back({now, slots});
  } else {
    cooling_.back().slots += slots;
  }
  coolingSlots_ += slots;
}

// The time until a slot is free, in milliseconds that do not end early; negative when none is cooling that
// would help.
int TFlowCtrl::WaitMs(std::int64_t now) const noexcept {
  // More than one has to become free only after the count was lowered.
  std::int64_t missing = out_ + coolingSlots_ - count_.load(std::memory_order_relaxed) + 1;
  for (const TCooling& each : cooling_) {
    missing -= each.slots;
    if (missing <= 0) return static_cast<int>((each.since + periodNs_ - now + kNsPerMs - 1) / kNsPerMs);
  }
  return -1;
}

}  // namespace Dova
