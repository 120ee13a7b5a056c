#pragma once

#include "platform/os/MessageWindow.h"
#include "platform/os/Mutex.h"
#include "platform/runtime/TTimer.h"

// Posts one message to a window, retrying every second while the system refuses it.
class TLoopPost {
 public:
  TLoopPost(Dova::Os::TWindowRef window, unsigned code);
  TLoopPost(const TLoopPost&) = delete;
  TLoopPost& operator=(const TLoopPost&) = delete;

  // False if the window is gone. Thread-safe, also while holding a leaf lock.
  bool Post() noexcept;

 private:
  void PostAgain() { Post(); }

  const Dova::Os::TWindowRef window_;
  const unsigned code_;
  // Leaf lock. A successful retry must not stop the timer started by a later post that failed.
  Dova::Os::TMutex mutex_;
  Dova::TTimer<TLoopPost> retry_;
};
