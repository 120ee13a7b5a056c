#pragma once

#include <atomic>
#include <optional>

#include "flat/TLoopPost.h"
#include "platform/os/MessageWindow.h"

// Calls its owner on the thread that made it, from that thread's message loop, when any thread has told it
// to: once for all who told it before the call.
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
  // On another thread than its own it waits until that one runs its loop, or has ended. No call comes
  // afterwards.
  ~TLoopNotice();
  TLoopNotice(const TLoopNotice&) = delete;
  TLoopNotice& operator=(const TLoopNotice&) = delete;

  // False when the thread can have no window; the notice is of no use then.
  explicit operator bool() const { return static_cast<bool>(window_); }

  // Any thread, also under locks.
  void Tell() noexcept;

 private:
  static constexpr unsigned kTold = 1073;

  bool OnMessage(const Dova::Os::TMessage& message) override;
  void OnWindowGone() override {}

  TOwner& owner_;
  const Dova::Os::TWindowRef window_;
  std::optional<TLoopPost> post_;
  std::atomic<bool> told_{false};
};
