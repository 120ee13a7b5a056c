#pragma once

#include "platform/os/Room.h"

namespace Dova::Os {

// Auto-reset event: one Set releases one Wait, current or future; Sets do not accumulate.
//
// A thread waiting here keeps answering messages that other threads send to its windows; these calls run
// nested inside Wait. (Posted messages stay in the queue.)
//
// Allocates no memory. If the system has no handle left, it still works, but more slowly.
class TEvent {
 public:
  static constexpr int kForever = -1;

  TEvent() noexcept;
  ~TEvent();
  TEvent(const TEvent&) = delete;
  TEvent& operator=(const TEvent&) = delete;

  void Set() noexcept;

  // True if set, false on timeout. Zero polls.
  bool Wait(int timeoutMs = kForever) noexcept;

 private:
  struct TNative;
  TRoom<TNative, 16> native_;
};

}  // namespace Dova::Os
