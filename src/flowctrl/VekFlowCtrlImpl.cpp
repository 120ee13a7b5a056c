#include "flowctrl/VekFlowCtrlImpl.h"

#include <mutex>

namespace VekApi {

void VekFlowCtrl::TImpl::CheckAndArm() {
  if (!IsActive()) return;
  // Held until the timer is armed: otherwise a check on another thread could stop the timer in between.
  const std::lock_guard<Dova::TRecursiveMutex> lock(userLock);
  if (closed_) return;
  if (const unsigned ms = CheckFree(); ms != 0) checkTimer_->Start(&TImpl::OnCheckTimer, ms);
}

// With the user lock held: 0 when the free event was raised, or the limiter was cleared; else when to check
// again.
unsigned VekFlowCtrl::TImpl::CheckFree() {
  const Locker lock(*this);
  if (!IsActive()) return 0;
  const int answer = CheckFlowCtrl_AfLock(Dova::fcf_OnlyLook);
  if (answer > 0) return static_cast<unsigned>(answer);
  // Only an acknowledgement can help, and not every application hands it to this gate at once.
  if (answer < 0) return 1;
  checkTimer_->Stop();
  owner_.OnVekFlowCtrlFree();
  return 0;
}

void VekFlowCtrl::TImpl::Close() noexcept {
  {
    const std::lock_guard<Dova::TRecursiveMutex> lock(userLock);
    closed_ = true;
  }
  checkTimer_.reset();
}

}  // namespace VekApi
