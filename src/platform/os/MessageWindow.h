#pragma once

#include <cstdint>
#include <memory>

// Hidden windows: through them a thread is called by others, when it gets round to it. On Windows they are
// message-only windows of the system's; elsewhere each thread that has windows has a queue of its own.
//
// A thread serves its windows in its message loop (any Windows loop, or MessagePump.h). What is sent, not
// what is posted, it also serves while it waits in TEvent or TThread, or in a Send of its own.
namespace Dova::Os {

struct TMessage {
  unsigned code = 0;
  std::uintptr_t first = 0;
  std::uintptr_t second = 0;

  bool operator==(const TMessage&) const = default;
};

// Called on the thread that made the window. Nothing is thrown here, but a runtime that ends its thread in
// the middle of a call may unwind through it.
class TMessageHandler {
 public:
  // False: not a message of this handler's. May deallocate the window.
  virtual bool OnMessage(const TMessage& message) = 0;

  // The window has been deallocated: the last call, which may destroy the handler. Another thread makes it
  // when the window's own thread has ended.
  virtual void OnWindowGone() = 0;

 protected:
  ~TMessageHandler() = default;
};

class TMessageWindow;
using TWindowRef = std::shared_ptr<TMessageWindow>;

enum class EPost {
  Posted,
  Full,  // ten thousand messages wait for the thread already, or there is no memory: to be tried again
  Gone,  // deallocated, or its thread has ended, or is a thread of the process that this one was forked from
};

// Any thread, where nothing else is said; also after the window has gone.
class TMessageWindow {
 public:
  struct TNative;
  explicit TMessageWindow(std::unique_ptr<TNative> native);
  ~TMessageWindow();
  TMessageWindow(const TMessageWindow&) = delete;
  TMessageWindow& operator=(const TMessageWindow&) = delete;

  // Leaves a message without parameters in the queue of the window's thread.
  EPost Post(unsigned code) noexcept;

  // For going on with long work: the message comes after everything else that waits for the thread, be it for
  // other windows, input, painting or timers. Once for each code, however often it is asked for. Only on the
  // window's thread. False when it cannot be had.
  bool PostLast(unsigned code) noexcept;

  // Returns when the handler has returned, or has not been called and will not be. On the window's thread a
  // plain call.
  void Send(const TMessage& message);

  // False once it has gone.
  bool IsThere() const noexcept;

  TNative& Native() { return *native_; }

 private:
  std::unique_ptr<TNative> native_;
};

// A window of the calling thread; null when it cannot be made. Whoever makes one deallocates it.
TWindowRef AllocateHWnd_Impl(TMessageHandler& handler) noexcept;

// Once, on any thread; on another than the window's it waits as a Send does. Messages not yet handled are
// dropped.
void DeallocateHWnd(TWindowRef window);

}  // namespace Dova::Os
