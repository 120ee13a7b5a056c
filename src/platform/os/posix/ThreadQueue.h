// The message queue of one thread's windows.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "platform/os/Event.h"
#include "platform/os/MessageWindow.h"
#include "platform/os/Mutex.h"
#include "platform/os/posix/TWakeWord.h"

namespace Dova::Os {

class TThreadQueue;

struct TMessageWindow::TNative {
  std::shared_ptr<TThreadQueue> queue;
  TMessageHandler* handler;  // null once deallocated; guarded by the queue's mutex
};

class TThreadQueue {
 public:
  // Wakes the thread while it waits for something other than messages. Called under the queue's mutex.
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

  // Null if the thread has no queue, and while it is ending. A queue inherited by a fork does not count: its
  // descriptor and its waiters belong to the other process, and its mutex may stay locked.
  static TThreadQueue* OfThisThread() noexcept;
  // The thread's queue, created if necessary; null on failure.
  static std::shared_ptr<TThreadQueue> Obtain() noexcept;

  // Thread-safe.
  EPost Post(TMessageWindow::TNative& window, unsigned code) noexcept;
  void Send(TMessageWindow::TNative& window, const TMessage& message);
  void Deallocate(TMessageWindow::TNative& window);
  bool IsThere(const TMessageWindow::TNative& window) noexcept;

  // Only on the queue's own thread.
  bool PostLast(TMessageWindow::TNative& window, unsigned code) noexcept;
  bool RunSent();     // runs one message; false if there was none
  bool AnswerSent();  // RunSent during a wait
  int Dispatch(int timeoutMs);
  int Descriptor() noexcept;
  TWaker* SetWaker(TWaker* waker) noexcept;  // returns the previous one
  void End() noexcept;                       // called when the thread ends
  bool IsInherited() const noexcept;         // created before a fork

 private:
  struct TSent {
    TMessageWindow::TNative& window;
    TMessage message;
    bool deallocate;
    bool handled = false;
    TEvent done{};
    TSent* next = nullptr;
  };
  struct TPosted {
    TMessageWindow::TNative* window;
    unsigned code;

    bool operator==(const TPosted&) const = default;
    bool IsOf(const TMessageWindow::TNative* of) const noexcept { return !of || of == window; }
  };
  // First in, first out. Keeps some memory, so that a message usually needs no allocation.
  class TPostedMessages {
   public:
    bool Empty() const noexcept { return first_ == messages_.size(); }
    std::size_t Size() const noexcept { return messages_.size() - first_; }
    bool Has(const TPosted& message) const noexcept;
    // False if memory runs out.
    bool Push(const TPosted& message) noexcept;
    TPosted Pop() noexcept;
    void Drop(const TMessageWindow::TNative* window) noexcept;  // null: of all windows

   private:
    void Shift() noexcept;

    std::vector<TPosted> messages_;
    std::size_t first_ = 0;
  };
  // First in, first out.
  class TSentMessages {
   public:
    bool Empty() const noexcept { return !first_; }
    std::size_t Size() const noexcept { return size_; }
    void Push(TSent& sent) noexcept;
    TSent& Pop() noexcept;

   private:
    TSent* first_ = nullptr;
    TSent* last_ = nullptr;
    std::size_t size_ = 0;
  };
  // Number of waiting messages, by queue.
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
  TWaiting Waiting() noexcept;
  TWaiting WaitForAny(int timeoutMs) noexcept;
  void Announce(TLock& lock) noexcept;
  void SetReadable() noexcept;

  TWakeWord changed_;  // set whenever something was queued; only the queue's own thread waits for it
  TBareMutex mutex_;   // leaf; guards the members below
  TSentMessages sent_;
  TPostedMessages posted_;
  TPostedMessages late_;  // delivered after all others
  TWaker* waker_ = nullptr;
  const int descriptor_;
  const unsigned generation_;
  bool watched_ = false;   // the descriptor was requested and is kept up to date
  bool readable_ = false;  // state of the descriptor
  bool ended_ = false;
};

}  // namespace Dova::Os
