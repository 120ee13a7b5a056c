#pragma once

#include <atomic>
#include <optional>

#include "platform/os/MessageWindow.h"
#include "platform/runtime/TLoopPost.h"

// Calls its owner on the creating thread, from that thread's message loop, after any thread has called Tell.
// Several calls of Tell before the callback result in one callback.
class TLoopNotice final : private Dova::Os::TMessageHandler {
 public:
  class TOwner {
   public:
    // May destroy the notice.
    virtual void OnTold() = 0;

   protected:
    ~TOwner() = default;
  };

  explicit TLoopNotice(TOwner& owner);
  // On another thread, waits until the creating one runs its loop or has ended. No callback follows.
  ~TLoopNotice();
  TLoopNotice(const TLoopNotice&) = delete;
  TLoopNotice& operator=(const TLoopNotice&) = delete;

  // False if the thread cannot have a window; the notice must not be used then.
  explicit operator bool() const { return static_cast<bool>(window_); }

  // Thread-safe, also while holding locks.
  void Tell() noexcept;

  // As Tell, but behind everything else that is waiting for the thread; used to continue long work. Only on
  // the creating thread.
  void TellLast() noexcept;

 private:
  static constexpr unsigned kTold = 1073;

  bool OnMessage(const Dova::Os::TMessage& message) override;
  void OnWindowGone() override {}

  TOwner& owner_;
  const Dova::Os::TWindowRef window_;
  std::optional<TLoopPost> post_;
  std::atomic<bool> told_{false};
};
