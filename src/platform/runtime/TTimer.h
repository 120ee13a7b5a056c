#pragma once

#include <mutex>

#include "platform/runtime/TSpinLock.h"
#include "platform/runtime/TTimerBase.h"

namespace Dova {

// A timer that calls a member function of its owner. The owner must live until the timer has been destroyed,
// or until the expiry that destroys both has returned. When the owner is counted, an expiry may begin while
// its last reference goes, whose destructor waits here: it takes a reference (wise_ref::try_hold) first, or
// returns.
template <class T>
class TTimer final : public TTimerBase {
 public:
  using TTarget = void (T::*)();

  TTimer(TOnTimerStyle style, T& owner) : TTimerBase(style), owner_(owner) {}
  ~TTimer() override { Close(); }

  // What expiries call from now on; null (the state at first): nothing.
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
    // Nothing of this timer may be touched here: the call may have destroyed it.
  }

  T& owner_;
  TSpinLock targetLock_;
  TTarget target_ = nullptr;
};

}  // namespace Dova
