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

  explicit TThreadQueue(int descriptor);
  ~TThreadQueue();
  TThreadQueue(const TThreadQueue&) = delete;
  TThreadQueue& operator=(const TThreadQueue&) = delete;

  // Null when the thread has none, and while it ends. A queue from before a fork is none: its descriptor and
  // whoever waits for it belong to the other process, and its mutex may be held for ever.
  static TThreadQueue* OfThisThread() noexcept;
  // The thread's, made if need be; null when that fails.
  static std::shared_ptr<TThreadQueue> Obtain() noexcept;

  // Any thread.
  EPost Post(TMessageWindow::TNative& window, unsigned code) noexcept;
  void Send(TMessageWindow::TNative& window, const TMessage& message);
  void Deallocate(TMessageWindow::TNative& window);
  bool IsThere(const TMessageWindow::TNative& window) noexcept;

  // The queue's own thread.
  bool PostLast(TMessageWindow::TNative& window, unsigned code) noexcept;
  bool RunSent();     // one; false when there was none
  bool AnswerSent();  // the same in the middle of a wait
  int Dispatch(int timeoutMs);
  int Descriptor() noexcept;
  TWaker* SetWaker(TWaker* waker) noexcept;  // returns the one before
  void End() noexcept;                       // the thread ends
  bool IsInherited() const noexcept;         // from before a fork

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

    bool operator==(const TPosted&) const = default;
  };
  using TPostedMessages = std::deque<TPosted>;
  // How many messages wait, by the queue that they wait in.
  struct TWaiting {
    std::size_t first;  // sent and posted
    std::size_t last;
  };
  class TLock;

  bool IsOwn() const noexcept { return this == OfThisThread(); }
  bool SendAndWait(TSent& sent);
  void Close(TMessageWindow::TNative& window) noexcept;
  void Drop(const TMessageWindow::TNative* window) noexcept;
  bool RunPosted(TPostedMessages& messages);
  bool IsEmpty() const noexcept;
  TWaiting WaitForAny(int timeoutMs) noexcept;
  void Announce() noexcept;
  void SetReadable() noexcept;

  TMonotonicCondition changed_;  // its mutex guards the rest; the event's mutex of a TWaker comes after it
  std::deque<TSent*> sent_;
  TPostedMessages posted_;
  TPostedMessages last_;  // come when the others have had their turn
  TWaker* waker_ = nullptr;
  const int descriptor_;
  const unsigned generation_;
  bool watched_ = false;   // somebody asked for the descriptor: it is kept up to date
  bool readable_ = false;  // the descriptor is
  bool ended_ = false;
};

}  // namespace Dova::Os
