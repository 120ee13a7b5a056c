#pragma once

#include <optional>

#include "flowctrl/TFlowCtrl.h"
#include "platform/runtime/Ref.h"
#include "platform/runtime/TRecursiveMutex.h"
#include "platform/runtime/TTimer.h"
#include "vekapi/VekFlowCtrl.h"

namespace VekApi {

// A gate's limiter, its check timer, and the user lock. Lock order: user lock, limiter.
//
// Reference-counted: the gate holds a reference, and so does every free event on a stack, because it may
// delete the gate.
class VekFlowCtrl::TImpl : public Dstl::ref_counter<unsigned>, public Dova::TFlowCtrl {
 public:
  explicit TImpl(VekFlowCtrl& owner) : TFlowCtrl(true), owner_(owner) {
    checkTimer_.emplace(Dova::ots_OneShot, *this);
  }

  // Raises the free event if a request may be sent; otherwise arms the timer. The gate may be deleted
  // afterwards.
  void CheckAndArm() {
    if (IsActive() && !IsInherited()) Check(false);
  }

  // Changes the rate. A pending wait for the free event continues with the new rate, and ends at once if
  // every request is now allowed; the timer raises the event, not this call.
  void Configure(int count, int ms);

  // Makes the timer check in `ms` milliseconds, also without a rate, unless it is armed already.
  void LookSoon(unsigned ms);

  // No free event follows, except the one this is called from. The gate must still hold its own reference.
  void Close() noexcept;

  bool IsInherited() const noexcept { return userLock.IsInherited(); }

  mutable Dova::TRecursiveMutex userLock;

 private:
  ~TImpl() override = default;

  void Check(bool onTimer);
  unsigned CheckFree(bool onTimer);
  void Arm(unsigned ms);
  void OnCheckTimer() { Check(true); }

  VekFlowCtrl& owner_;
  // Guarded by the user lock:
  bool closed_ = false;
  bool armed_ = false;  // the timer was started, and not stopped since
  // Last member, destroyed first: its destructor waits for an expiry, which uses all the others.
  std::optional<Dova::TTimer<TImpl>> checkTimer_;
};

}  // namespace VekApi
