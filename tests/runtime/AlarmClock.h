// A timer whose expiry can be awaited.
#pragma once

#include <functional>
#include <utility>

#include "platform/os/Event.h"
#include "platform/runtime/TTimer.h"

namespace TestSupport {

constexpr int kPatienceMs = 60'000;  // for waits that should be immediate

class TAlarmClock {
 public:
  explicit TAlarmClock(std::function<void()> onExpiry = {}) : onExpiry_(std::move(onExpiry)) {}
  void Start(unsigned ms) { timer_.Start(&TAlarmClock::OnTimer, ms); }
  void Stop() { timer_.Stop(); }
  bool Rings() { return rang_.Wait(kPatienceMs); }

 private:
  void OnTimer() {
    if (onExpiry_) onExpiry_();
    rang_.Set();
  }

  const std::function<void()> onExpiry_;
  Dova::Os::TEvent rang_;
  Dova::TTimer<TAlarmClock> timer_{Dova::ots_OneShot, *this};
};

}  // namespace TestSupport
