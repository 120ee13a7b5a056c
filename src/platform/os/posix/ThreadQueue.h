// The messages of one thread's windows.
#pragma once

#include <deque>
#include <memory>

#include "platform/os/Event.h"
#include "platform/os/MessageWindow.h"
#include "platform/os/posix/Deadline.h"

namespace Dova::Os {

class TThreadQueue;

struct TMessageWindow::TNative {
  std::shared_ptr<TThreadQueue> queue;
  TMessageHandler* handler;  // null once deallocated; under the queue's mutex
};

class TThreadQueue {
 public:
  // Wakes the thread while it waits for something else than messages. Called under the queue's mutex.
  class TWaker {
   public:
    virtual void Wake() noexcept = 0;

   protected:
    ~TWaker() = default;
  };

  explicit TThreadQueue(int descriptor) : descriptor_(descriptor) {}
  ~TThreadQueue();
  TThreadQueue(const TThreadQueue&) = delete;
  TThreadQueue& operator=(const TThreadQueue&) = delete;

  // Null when the thread has none, and while it ends.
  static TThreadQueue* OfThisThread() noexcept;
  // The thread's, made if need be; null when that fails.
  static std::shared_ptr<TThreadQueue> Obtain() noexcept;

  // Any thread.
  bool Post(TMessageWindow::TNative& window, unsigned code) noexcept;
  void Send(TMessageWindow::TNative& window, const TMessage& message) noexcept;
  void Deallocate(TMessageWindow::TNative& window) noexcept;

  // The queue's own thread.
  bool RunSent() noexcept;  // one; false when there was none
  bool AnswerSent() noexcept;  // the same in the middle of a wait
  int Dispatch(int timeoutMs) noexcept;
  int Descriptor() noexcept;
  TWaker* SetWaker(TWaker* waker) noexcept;  // returns the one before
  void End() noexcept;                       // the thread ends

 private:
  struct TSent {
    TMessageWindow::TNative& window;
    TMessage message;
    bool deallocate;
    bool handled = false;
    TEvent done{};
  };
  struct TPosted {
    TMessageWindow::TNative* window;
    unsigned code;
  };
  class TLock;

  bool IsOwn() const noexcept { return this == OfThisThread(); }
  bool SendAndWait(TSent& sent) noexcept;
  void Close(TMessageWindow::TNative& window) noexcept;
  void Drop(const TMessageWindow::TNative* window) noexcept;
  bool RunPosted() noexcept;
  bool WaitForAny(int timeoutMs) noexcept;
  void Announce() noexcept;
  void SetReadable() noexcept;

  TMonotonicCondition changed_;  // its mutex guards the rest; the event's mutex of a TWaker comes after it
  std::deque<TSent*> sent_;
  std::deque<TPosted> posted_;
  TWaker* waker_ = nullptr;
  const int descriptor_;
  bool watched_ = false;   // somebody asked for the descriptor: it is kept up to date
  bool readable_ = false;  // the descriptor is
  bool ended_ = false;
};

}  // namespace Dova::Os
