#pragma once

#include <cstdint>
#include <memory>

// Hidden windows, through which other threads call a thread's handlers. On Windows they are message-only
// windows; elsewhere each thread with windows has its own queue.
//
// A thread serves its windows in its message loop (any Windows loop, or MessagePump.h). Sent messages, but
// not posted ones, are also served while it waits in TEvent or TThread, or in a Send of its own.
namespace Dova::Os {

struct TMessage {
  unsigned code = 0;
  std::uintptr_t first = 0;
  std::uintptr_t second = 0;

  bool operator==(const TMessage&) const = default;
};

// Called on the thread that created the window. Handlers must not throw, but a runtime that ends its thread
// during a call may unwind through it.
class TMessageHandler {
 public:
  // Returns false if the message is not one of this handler's. May deallocate the window.
  virtual bool OnMessage(const TMessage& message) = 0;

  // The window has been deallocated. The last call; it may destroy the handler. Runs on another thread if the
  // window's own thread has ended.
  virtual void OnWindowGone() = 0;

 protected:
  ~TMessageHandler() = default;
};

class TMessageWindow;
using TWindowRef = std::shared_ptr<TMessageWindow>;

enum class EPost {
  Posted,
  Full,  // ten thousand messages are queued for the thread already, or there is no memory: retry
  Gone,  // deallocated, or its thread has ended, or belongs to the process this one was forked from
};

// Thread-safe unless stated otherwise, also after the window is gone.
class TMessageWindow {
 public:
  struct TNative;
  explicit TMessageWindow(std::unique_ptr<TNative> native);
  ~TMessageWindow();
  TMessageWindow(const TMessageWindow&) = delete;
  TMessageWindow& operator=(const TMessageWindow&) = delete;

  // Queues a message without parameters for the window's thread.
  EPost Post(unsigned code) noexcept;

  // Continues long work: the message is delivered after everything else queued for the thread, such as other
  // windows, input, painting or timers. Delivered once per code, however often requested. Only on the
  // window's thread. Returns false on failure.
  bool PostLast(unsigned code) noexcept;

  // Returns when the handler has returned, or if it has not been called and will not be. On the window's
  // thread a plain call.
  void Send(const TMessage& message);

  // False once the window is gone.
  bool IsThere() const noexcept;

  TNative& Native() { return *native_; }

 private:
  std::unique_ptr<TNative> native_;
};

// Creates a window of the calling thread; null on failure. The caller must deallocate it.
TWindowRef AllocateHWnd_Impl(TMessageHandler& handler) noexcept;

// Call it once, on any thread; on a thread other than the window's it waits as Send does. Pending messages
// are dropped.
void DeallocateHWnd(TWindowRef window);

}  // namespace Dova::Os
