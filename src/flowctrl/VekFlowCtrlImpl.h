#pragma once

#include <optional>

#include "platform/mbus/TFlowCtrl.h"
#include "platform/mbus/TRecursiveMutex.h"
#include "platform/mbus/TTimer.h"
#include "vekapi/VekFlowCtrl.h"

namespace VekApi {

// The limiter of a gate, the timer that checks it again, and the user lock. Locks are taken in the order user
// lock, limiter, on every path.
class VekFlowCtrl::TImpl : public Dova::TFlowCtrl {
 public:
  explicit TImpl(VekFlowCtrl& owner) : TFlowCtrl(true), owner_(owner) {
    checkTimer_.emplace(Dova::ots_OneShot, *this);
  }
  ~TImpl() = default;

  // Raises the free event when a request may go, else sees to it that the timer checks again.
  void CheckAndArm();

  // No free event once this has returned.
  void Close() noexcept;

  mutable Dova::TRecursiveMutex userLock;

 private:
  unsigned CheckFree();
  void OnCheckTimer() { CheckAndArm(); }

  VekFlowCtrl& owner_;
  bool closed_ = false;  // under the user lock
  // Last, so that it goes first: its destructor waits for an expiry, which uses all of the rest.
  std::optional<Dova::TTimer<TImpl>> checkTimer_;
};

}  // namespace VekApi
