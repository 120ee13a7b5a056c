#pragma once

#include "platform/os/Room.h"

namespace Dova::Os {

// Auto-reset event: a Set lets one Wait through, now or later; Sets do not add up.
//
// A thread that waits here keeps answering messages that other threads send to its windows; those calls run
// nested inside Wait. (Messages that were posted stay where they are.)
//
// Takes no memory, and works without a handle of the system's, if slower, when there is none to be had.
class TEvent {
 public:
  static constexpr int kForever = -1;

  TEvent() noexcept;
  ~TEvent();
  TEvent(const TEvent&) = delete;
  TEvent& operator=(const TEvent&) = delete;

  void Set() noexcept;

  // True when set, false when timeoutMs passed first. Zero only looks.
  bool Wait(int timeoutMs = kForever) noexcept;

 private:
  struct TNative;
  TRoom<TNative, 112> native_;
};

}  // namespace Dova::Os
