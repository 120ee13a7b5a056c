#pragma once

#include <mutex>

#include "platform/runtime/TSpinLock.h"
#include "platform/runtime/TTimerBase.h"

namespace Dova {

// A timer that calls a member function of its owner. The owner must live until the timer has been destroyed,
// or until the expiry that destroys both has returned. If the owner is reference-counted, an expiry may begin
// while the last reference is released and the destructor waits here: the expiry must first acquire a
// reference (wise_ref::try_hold), or return.
template <class T>
class TTimer final : public TTimerBase {
 public:
  using TTarget = void (T::*)();

  TTimer(TOnTimerStyle style, T& owner) : TTimerBase(style), owner_(owner) {}
  ~TTimer() override { Close(); }

  // Sets the function expiries call; null (the initial state) for none.
  void SetTarget(TTarget target) noexcept {
    const std::lock_guard<TSpinLock> lock(targetLock_);
    target_ = target;
  }

  using TTimerBase::Start;
  void Start(TTarget target, unsigned ms) noexcept {
    SetTarget(target);
    Start(ms);
  }

 private:
  void OnExpiry() override {
    TTarget target = nullptr;
    {
      const std::lock_guard<TSpinLock> lock(targetLock_);
      target = target_;
    }
    if (target != nullptr) (owner_.*target)();
    // The call may have destroyed this timer: do not access it afterwards.
  }

  T& owner_;
  TSpinLock targetLock_;
  TTarget target_ = nullptr;
};

}  // namespace Dova
