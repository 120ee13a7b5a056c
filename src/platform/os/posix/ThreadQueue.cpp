#include "platform/os/posix/ThreadQueue.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "platform/os/AnswerWatch.h"
#include "platform/os/Clock.h"
#include "platform/os/MessagePump.h"
#include "platform/os/Process.h"

namespace Dova::Os {
namespace {

// The same limit per thread as on Windows: a thread that never reads its queue must not exhaust memory.
constexpr std::size_t kMaxPosted = 10'000;

// A plain pointer, so that it can be read while the thread's objects are being destroyed.
thread_local TThreadQueue* ofThisThread = nullptr;
thread_local bool threadEnds = false;

struct TOwner {
  std::shared_ptr<TThreadQueue> queue;
  TOwner() = default;
  ~TOwner() {
    threadEnds = true;
    ofThisThread = nullptr;
    if (queue && !queue->IsInherited()) queue->End();
  }
  TOwner(const TOwner&) = delete;
  TOwner& operator=(const TOwner&) = delete;
};

}  // namespace

class TThreadQueue::TLock {
 public:
  explicit TLock(TThreadQueue& queue) : queue_(queue) { queue_.mutex_.lock(); }
  ~TLock() {
    queue_.mutex_.unlock();
    if (signals_) queue_.changed_.Set();
  }
  TLock(const TLock&) = delete;
  TLock& operator=(const TLock&) = delete;

  // Wakes the queue's thread once the lock is released: it would only wait for the lock before.
  void SignalAfterwards() noexcept { signals_ = true; }

 private:
  TThreadQueue& queue_;
  bool signals_ = false;
};

TThreadQueue::TThreadQueue(int descriptor) : descriptor_(descriptor), generation_(ProcessGeneration()) {}

bool TThreadQueue::IsInherited() const noexcept {
  return generation_ != ProcessGeneration();
}

TThreadQueue* TThreadQueue::OfThisThread() noexcept {
  return ofThisThread && !ofThisThread->IsInherited() ? ofThisThread : nullptr;
}

std::shared_ptr<TThreadQueue> TThreadQueue::Obtain() noexcept {
  if (threadEnds) return nullptr;
  thread_local TOwner owner;
  if (owner.queue && !owner.queue->IsInherited()) return owner.queue;
  const int descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (descriptor < 0) return nullptr;
  try {
    owner.queue = std::make_shared<TThreadQueue>(descriptor);
  } catch (...) {
    close(descriptor);
    return nullptr;
  }
  ofThisThread = owner.queue.get();
  return owner.queue;
}

TThreadQueue::~TThreadQueue() {
  if (!ended_) close(descriptor_);
}

void TThreadQueue::End() noexcept {
  const TLock lock(*this);
  ended_ = true;
  Drop(nullptr);
  close(descriptor_);
}

// A message was queued.
void TThreadQueue::Announce(TLock& lock) noexcept {
  SetReadable();
  lock.SignalAfterwards();
  if (waker_) waker_->Wake();
}

// With the lock held. Makes a system call only if the state changes.
void TThreadQueue::SetReadable() noexcept {
  const bool readable = !IsEmpty();
  if (!watched_ || readable == readable_) return;
  readable_ = readable;
  eventfd_t count = 0;
  // Neither call can fail: the count is 0 or 1.
  if (readable) {
    (void)eventfd_write(descriptor_, 1);
  } else {
    (void)eventfd_read(descriptor_, &count);
  }
}

EPost TThreadQueue::Post(TMessageWindow::TNative& window, unsigned code) noexcept {
  if (IsInherited()) return EPost::Gone;
  TLock lock(*this);
  if (ended_ || !window.handler) return EPost::Gone;
  if (posted_.Size() >= kMaxPosted || !posted_.Push({&window, code})) return EPost::Full;
  Announce(lock);
  return EPost::Posted;
}

bool TThreadQueue::PostLast(TMessageWindow::TNative& window, unsigned code) noexcept {
  TLock lock(*this);
  const TPosted message{&window, code};
  if (late_.Has(message)) return true;
  if (!late_.Push(message)) return false;
  Announce(lock);
  return true;
}

bool TThreadQueue::IsThere(const TMessageWindow::TNative& window) noexcept {
  if (IsInherited()) return false;
  const TLock lock(*this);
  return !ended_ && window.handler;
}

void TThreadQueue::Send(TMessageWindow::TNative& window, const TMessage& message) {
  if (IsOwn()) {
    if (window.handler) window.handler->OnMessage(message);
    return;
  }
  TSent sent{window, message, false};
  SendAndWait(sent);
}

// False if the handler was not called.
bool TThreadQueue::SendAndWait(TSent& sent) {
  if (IsInherited()) return false;
  {
    TLock lock(*this);
    if (ended_ || !sent.window.handler) return false;
    sent_.Push(sent);
    Announce(lock);
  }
  sent.done.Wait();
  return sent.handled;
}

void TThreadQueue::Deallocate(TMessageWindow::TNative& window) {
  TMessageHandler* const handler = window.handler;
  if (!IsOwn()) {
    TSent sent{window, {}, true};
    if (SendAndWait(sent)) return;
  }
  Close(window);
  handler->OnWindowGone();
}

void TThreadQueue::Close(TMessageWindow::TNative& window) noexcept {
  if (IsInherited()) {
    window.handler = nullptr;
    return;
  }
  const TLock lock(*this);
  window.handler = nullptr;
  Drop(&window);
}

// With the lock held: drops the messages for one window, or for all; senders return.
void TThreadQueue::Drop(const TMessageWindow::TNative* window) noexcept {
  posted_.Drop(window);
  late_.Drop(window);
  for (std::size_t left = sent_.Size(); left != 0; --left) {
    TSent& sent = sent_.Pop();
    if (window && window != &sent.window) {
      sent_.Push(sent);
    } else {
      sent.done.Set();
    }
  }
  if (!ended_) SetReadable();
}

bool TThreadQueue::RunSent() {
  if (IsInherited()) return false;
  TSent* sent = nullptr;
  {
    const TLock lock(*this);
    if (sent_.Empty()) return false;
    sent = &sent_.Pop();
    SetReadable();
  }
  // Replies also if a runtime ends this thread inside the handler. After a fork inside it there is no sender
  // any more.
  struct TReply {
    TThreadQueue& queue;
    TSent& sent;
    ~TReply() {
      if (!queue.IsInherited()) sent.done.Set();
    }
  } const reply{*this, *sent};
  TMessageHandler* const handler = sent->window.handler;
  sent->handled = true;
  if (sent->deallocate) {
    Close(sent->window);
    handler->OnWindowGone();
  } else {
    handler->OnMessage(sent->message);
  }
  return true;
}

bool TThreadQueue::AnswerSent() {
  if (IsInherited()) return false;
  {
    const TLock lock(*this);
    if (sent_.Empty()) return false;
  }
  const TAnswerScope answering;
  return RunSent();
}

bool TThreadQueue::RunPosted(TPostedMessages& messages) {
  if (IsInherited()) return false;
  TPosted posted{};
  {
    const TLock lock(*this);
    if (messages.Empty()) return false;
    posted = messages.Pop();
    SetReadable();
  }
  posted.window->handler->OnMessage({posted.code});
  return true;
}

// With the lock held.
bool TThreadQueue::IsEmpty() const noexcept {
  return sent_.Empty() && posted_.Empty() && late_.Empty();
}

TThreadQueue::TWaiting TThreadQueue::Waiting() noexcept {
  const TLock lock(*this);
  return {sent_.Size() + posted_.Size(), late_.Size()};
}

TThreadQueue::TWaiting TThreadQueue::WaitForAny(int timeoutMs) noexcept {
  const std::int64_t due = timeoutMs < 0 ? INT64_MAX : MonotonicNs() + std::int64_t{timeoutMs} * 1'000'000;
  TWaiting waiting = Waiting();
  while (waiting.first + waiting.last == 0 && changed_.WaitUntil(due)) waiting = Waiting();
  return waiting;
}

int TThreadQueue::Dispatch(int timeoutMs) {
  const TWaiting waiting = WaitForAny(timeoutMs);
  const int atOnce = static_cast<int>(std::min<std::size_t>(waiting.first, kMessagesAtOnce));
  int count = 0;
  while (count < atOnce && (RunSent() || RunPosted(posted_))) ++count;
  for (std::size_t left = waiting.last; left != 0 && RunPosted(late_); --left) ++count;
  return count;
}

int TThreadQueue::Descriptor() noexcept {
  const TLock lock(*this);
  watched_ = true;
  SetReadable();
  return descriptor_;
}

TThreadQueue::TWaker* TThreadQueue::SetWaker(TWaker* waker) noexcept {
  if (IsInherited()) return nullptr;
  const TLock lock(*this);
  return std::exchange(waker_, waker);
}

}  // namespace Dova::Os
