#pragma once

#include "platform/os/MessageWindow.h"
#include "platform/os/Mutex.h"
#include "platform/runtime/TTimer.h"

// Posts one message to a window, and tries again every second while the system takes none.
class TLoopPost {
 public:
  TLoopPost(Dova::Os::TWindowRef window, unsigned code);
  TLoopPost(const TLoopPost&) = delete;
  TLoopPost& operator=(const TLoopPost&) = delete;

  // False when the window has gone. Any thread, also one that holds a leaf lock.
  bool Post() noexcept;

 private:
  void PostAgain() { Post(); }

  const Dova::Os::TWindowRef window_;
  const unsigned code_;
  // Leaf. A retry that succeeds must not stop the timer that a later post, which failed, has started.
  Dova::Os::TMutex mutex_;
  Dova::TTimer<TLoopPost> retry_;
};
