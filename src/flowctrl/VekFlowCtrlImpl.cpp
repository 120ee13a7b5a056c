#include "flowctrl/VekFlowCtrlImpl.h"

#include <mutex>

#include "platform/os/Thread.h"

namespace VekApi {

void VekFlowCtrl::TImpl::Check(bool onTimer) {
  // Let go of after the lock has been.
  Dstl::wise_ref<TImpl> self;
  // Held until the timer is armed: otherwise a check on another thread could stop the timer in between.
  const std::lock_guard<Dova::TRecursiveMutex> lock(userLock);
  // An expiry that had to wait for the lock may find that what it was to look for has been found.
  if (closed_ || (onTimer && !armed_)) return;
  // Not closed, so the gate has its reference still.
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

// With the user lock held: 0 when the free event was raised, or nothing is configured; else when to check
// again. The timer finds nothing configured when that was changed while somebody waited: who did is told.
unsigned VekFlowCtrl::TImpl::CheckFree(bool onTimer) {
  const Locker lock(*this);
  if (!IsActive() && !onTimer) return 0;
  const int answer = CheckFlowCtrl_AfLock(Dova::fcf_OnlyLook);
  if (answer > 0) return static_cast<unsigned>(answer);
  // Only an acknowledgement can help, and not every application hands it to this gate at once.
  if (answer < 0) return 1;
  armed_ = false;
  checkTimer_->Stop();
  owner_.OnVekFlowCtrlFree();
  return 0;
}

void VekFlowCtrl::TImpl::Close() noexcept {
  // Threads that no longer run may have taken the lock with them.
  if (Dova::Os::ProcessIsExiting()) return;
  {
    const std::lock_guard<Dova::TRecursiveMutex> lock(userLock);
    closed_ = true;
    if (checkTimer_) checkTimer_->Stop();
  }
  // From inside an event: an expiry on another thread may be waiting for the lock that this one still holds,
  // so the timer stays until that event has returned.
  if (!userLock.IsHeldHere()) checkTimer_.reset();
}

}  // namespace VekApi
