#include "platform/os/posix/ThreadQueue.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "platform/os/AnswerWatch.h"
#include "platform/os/Clock.h"
#include "platform/os/MessagePump.h"

namespace Dova::Os {
namespace {

// What the other system allows a thread, too: a thread that never looks does not eat all memory.
constexpr std::size_t kMaxPosted = 10'000;

// Plain, so that it can be looked at while the thread's objects are being destroyed.
thread_local TThreadQueue* ofThisThread = nullptr;
thread_local bool threadEnds = false;

struct TOwner {
  std::shared_ptr<TThreadQueue> queue;
  TOwner() = default;
  ~TOwner() {
    threadEnds = true;
    ofThisThread = nullptr;
    if (queue) queue->End();
  }
  TOwner(const TOwner&) = delete;
  TOwner& operator=(const TOwner&) = delete;
};

}  // namespace

class TThreadQueue::TLock {
 public:
  explicit TLock(TThreadQueue& queue) : mutex_(queue.changed_.mutex) { pthread_mutex_lock(&mutex_); }
  ~TLock() { pthread_mutex_unlock(&mutex_); }
  TLock(const TLock&) = delete;
  TLock& operator=(const TLock&) = delete;

 private:
  pthread_mutex_t& mutex_;
};

TThreadQueue* TThreadQueue::OfThisThread() noexcept {
  return ofThisThread;
}

std::shared_ptr<TThreadQueue> TThreadQueue::Obtain() noexcept {
  if (threadEnds) return nullptr;
  thread_local TOwner owner;
  if (owner.queue) return owner.queue;
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

// With the lock held: something was put in.
void TThreadQueue::Announce() noexcept {
  SetReadable();
  pthread_cond_signal(&changed_.condition);
  if (waker_) waker_->Wake();
}

// With the lock held. The system is called only when that changes something for somebody.
void TThreadQueue::SetReadable() noexcept {
  const bool readable = !sent_.empty() || !posted_.empty();
  if (!watched_ || readable == readable_) return;
  readable_ = readable;
  eventfd_t count = 0;
  // Neither can fail: the count is 0 or 1.
  if (readable) {
    (void)eventfd_write(descriptor_, 1);
  } else {
    (void)eventfd_read(descriptor_, &count);
  }
}

bool TThreadQueue::Post(TMessageWindow::TNative& window, unsigned code) noexcept {
  const TLock lock(*this);
  if (ended_ || !window.handler || posted_.size() >= kMaxPosted) return false;
  try {
    posted_.push_back({&window, code});
  } catch (...) {
    return false;
  }
  Announce();
  return true;
}

void TThreadQueue::Send(TMessageWindow::TNative& window, const TMessage& message) noexcept {
  if (IsOwn()) {
    if (window.handler) window.handler->OnMessage(message);
    return;
  }
  TSent sent{window, message, false};
  SendAndWait(sent);
}

// False when the handler was not called.
bool TThreadQueue::SendAndWait(TSent& sent) noexcept {
  {
    const TLock lock(*this);
    if (ended_ || !sent.window.handler) return false;
    try {
      sent_.push_back(&sent);
    } catch (...) {
      return false;
    }
    Announce();
  }
  sent.done.Wait();
  return sent.handled;
}

void TThreadQueue::Deallocate(TMessageWindow::TNative& window) noexcept {
  TMessageHandler* const handler = window.handler;
  if (!IsOwn()) {
    TSent sent{window, {}, true};
    if (SendAndWait(sent)) return;
  }
  Close(window);
  handler->OnWindowGone();
}

void TThreadQueue::Close(TMessageWindow::TNative& window) noexcept {
  const TLock lock(*this);
  window.handler = nullptr;
  Drop(&window);
}

// With the lock held: forgets what waits for a window, or for all of them; senders return.
void TThreadQueue::Drop(const TMessageWindow::TNative* window) noexcept {
  const auto dropped = [=](const TMessageWindow::TNative* of) { return !window || of == window; };
  std::erase_if(posted_, [&](const TPosted& posted) { return dropped(posted.window); });
  std::erase_if(sent_, [&](TSent* sent) {
    if (!dropped(&sent->window)) return false;
    sent->done.Set();
    return true;
  });
  if (!ended_) SetReadable();
}

bool TThreadQueue::RunSent() noexcept {
  TSent* sent = nullptr;
  {
    const TLock lock(*this);
    if (sent_.empty()) return false;
    sent = sent_.front();
    sent_.pop_front();
    SetReadable();
  }
  TMessageHandler* const handler = sent->window.handler;
  sent->handled = true;
  if (sent->deallocate) {
    Close(sent->window);
    handler->OnWindowGone();
  } else {
    handler->OnMessage(sent->message);
  }
  sent->done.Set();
  return true;
}

bool TThreadQueue::AnswerSent() noexcept {
  {
    const TLock lock(*this);
    if (sent_.empty()) return false;
  }
  const TAnswerScope answering;
  return RunSent();
}

bool TThreadQueue::RunPosted() noexcept {
  TPosted posted{};
  {
    const TLock lock(*this);
    if (posted_.empty()) return false;
    posted = posted_.front();
    posted_.pop_front();
    SetReadable();
  }
  posted.window->handler->OnMessage({posted.code});
  return true;
}

bool TThreadQueue::WaitForAny(int timeoutMs) noexcept {
  const TLock lock(*this);
  const std::int64_t due = timeoutMs < 0 ? INT64_MAX : MonotonicNs() + std::int64_t{timeoutMs} * 1'000'000;
  while (sent_.empty() && posted_.empty()) {
    if (due != INT64_MAX && MonotonicNs() >= due) return false;
    changed_.WaitUntil(due);
  }
  return true;
}

int TThreadQueue::Dispatch(int timeoutMs) noexcept {
  if (!WaitForAny(timeoutMs)) return 0;
  int count = 0;
  while (count < kMessagesAtOnce && (RunSent() || RunPosted())) ++count;
  return count;
}

int TThreadQueue::Descriptor() noexcept {
  const TLock lock(*this);
  watched_ = true;
  SetReadable();
  return descriptor_;
}

TThreadQueue::TWaker* TThreadQueue::SetWaker(TWaker* waker) noexcept {
  const TLock lock(*this);
  return std::exchange(waker_, waker);
}

}  // namespace Dova::Os
