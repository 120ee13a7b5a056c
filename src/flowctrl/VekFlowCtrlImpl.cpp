#include "flowctrl/VekFlowCtrlImpl.h"

#include <mutex>

#include "platform/os/Thread.h"

namespace VekApi {

void VekFlowCtrl::TImpl::Check(bool onTimer) {
  // Released after the lock.
  Dstl::wise_ref<TImpl> self;
  // Held until the timer is armed: otherwise a check on another thread could stop the timer in between.
  const std::lock_guard<Dova::TRecursiveMutex> lock(userLock);
  // While an expiry waited for the lock, another check may already have raised the event.
  if (closed_ || (onTimer && !armed_)) return;
  // Not closed, so the gate still holds its reference.
  self = Dstl::wise_ref<TImpl>(this);
  const unsigned ms = CheckFree(onTimer);
  if (ms != 0) Arm(ms);
}

void VekFlowCtrl::TImpl::Arm(unsigned ms) {
  armed_ = true;
  checkTimer_->Start(&TImpl::OnCheckTimer, ms);
}

void VekFlowCtrl::TImpl::Configure(int count, int ms) {
  const std::lock_guard<Dova::TRecursiveMutex> lock(userLock);
  Restart(count, ms);
  if (armed_ && !closed_) Arm(0);
}

void VekFlowCtrl::TImpl::LookSoon(unsigned ms) {
  const std::lock_guard<Dova::TRecursiveMutex> lock(userLock);
  if (!armed_ && !closed_) Arm(ms);
}

// With the user lock held: returns 0 if the free event was raised or no rate is set; otherwise when to check
// again. If the timer finds no rate, it was removed during a wait: the event is raised.
unsigned VekFlowCtrl::TImpl::CheckFree(bool onTimer) {
  const Locker lock(*this);
  if (!IsActive() && !onTimer) return 0;
  const int answer = CheckFlowCtrl_AfLock(Dova::fcf_OnlyLook);
  if (answer > 0) return static_cast<unsigned>(answer);
  // Only an acknowledgement can open the gate, and not every application reports it to this gate at once.
  if (answer < 0) return 1;
  armed_ = false;
  checkTimer_->Stop();
  owner_.OnVekFlowCtrlFree();
  return 0;
}

void VekFlowCtrl::TImpl::Close() noexcept {
  // Threads killed at process exit may have held the lock.
  if (Dova::Os::ProcessIsExiting()) return;
  {
    const std::lock_guard<Dova::TRecursiveMutex> lock(userLock);
    closed_ = true;
    if (checkTimer_) checkTimer_->Stop();
  }
  // From inside an event: an expiry on another thread may be waiting for the lock this thread still holds, so
  // the timer is kept until the event has returned.
  if (!userLock.IsHeldHere()) checkTimer_.reset();
}

}  // namespace VekApi
