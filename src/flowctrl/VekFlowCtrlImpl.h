#pragma once

#include <optional>

#include "flowctrl/TFlowCtrl.h"
#include "platform/runtime/Ref.h"
#include "platform/runtime/TRecursiveMutex.h"
#include "platform/runtime/TTimer.h"
#include "vekapi/VekFlowCtrl.h"

namespace VekApi {

// The limiter of a gate, the timer that checks it again, and the user lock. Locks are taken in the order user
// lock, limiter, on every path.
//
// Counted: the gate holds a reference, and so does every free event that is on a stack, as it may delete the
// gate.
class VekFlowCtrl::TImpl : public Dstl::ref_counter<unsigned>, public Dova::TFlowCtrl {
 public:
  explicit TImpl(VekFlowCtrl& owner) : TFlowCtrl(true), owner_(owner) {
    checkTimer_.emplace(Dova::ots_OneShot, *this);
  }

  // Raises the free event when a request may go, else sees to it that the timer checks again. The gate may be
  // gone afterwards.
  void CheckAndArm() {
    if (IsActive()) Check(false);
  }

  // Sets another rate. Who is waiting for the free event gets it by the new one: at once, when everything may
  // go from now on. From the timer, not from here.
  void Configure(int count, int ms);

  // The timer looks in `ms` milliseconds, also without a configuration; unless it does so anyhow.
  void LookSoon(unsigned ms);

  // No free event once this has returned, but the one that it was called from. The gate's own reference must
  // still be there.
  void Close() noexcept;

  mutable Dova::TRecursiveMutex userLock;

 private:
  ~TImpl() override = default;

  void Check(bool onTimer);
  unsigned CheckFree(bool onTimer);
  void Arm(unsigned ms);
  void OnCheckTimer() { Check(true); }

  VekFlowCtrl& owner_;
  // Under the user lock:
  bool closed_ = false;
  bool armed_ = false;  // the timer was started, and not stopped since
  // Last, so that it goes first: its destructor waits for an expiry, which uses all of the rest.
  std::optional<Dova::TTimer<TImpl>> checkTimer_;
};

}  // namespace VekApi
