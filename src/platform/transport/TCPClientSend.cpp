// Sending, on any thread, and draining what the system did not accept immediately.
#include <algorithm>
#include <new>
#include <utility>

#include "platform/transport/TCPClient.h"

namespace Dova {

int TCPClient::Send(const char* bytes, int length) {
  return SendSome(bytes, length, nullptr) ? length : 0;
}

int TCPClient::SendAt(const char* bytes, int length, std::uint64_t& at) {
  return SendSome(bytes, length, &at) ? length : 0;
}

bool TCPClient::SendSome(const char* bytes, int length, std::uint64_t* at) {
  if (length <= 0 || IsInherited()) return false;
  bool queued = false;
  {
    const TLock lock(queue_.Mutex());
    if (state_ != EState::Linked) return false;
    const std::uint64_t begin = taken_ + queue_.Size();
    const bool sent = SendOrQueue(lock, bytes, static_cast<std::size_t>(length));
    if (at && (sent || taken_ > begin)) *at = begin;
    if (!sent) return false;
    queued = !queue_.Empty();
  }
  if (queued) WakeDrain();
  return true;
}

std::uint64_t TCPClient::TakenBytes() {
  if (IsInherited()) return 0;
  const TLock lock(queue_.Mutex());
  return taken_;
}

// False if nothing was accepted: the limit was exceeded, or the link has ended.
bool TCPClient::SendOrQueue(const TLock& lock, const char* bytes, std::size_t size) {
  if (queue_.Size() + size > setting_.sendQueueBytes) return false;
  std::size_t taken = 0;
  if (queue_.Empty()) {
    const std::ptrdiff_t sent = socket_->TrySend(bytes, size);
    if (sent < 0) {
      EndBySystem(lock);
      return false;
    }
    taken = static_cast<std::size_t>(sent);
    taken_ += taken;
  }
  if (taken < size) Queue(lock, bytes + taken, size - taken);
  return state_ == EState::Linked;
}

// If there is no memory for the rest, or no thread to drain it, the stream is incomplete and the link must
// end.
void TCPClient::Queue(const TLock& lock, const char* bytes, std::size_t size) {
  try {
    queue_.Append(bytes, size);
    if (drainThread_) return;
    const auto drain = [self = Dstl::wise_ref<TCPClient>(this)] { self->RunDrain(); };
    if (drainThread_.emplace().Start("vek-drain", drain)) return;
    End(lock, Address() + ": no thread to send", Os::ECause::NoThread);
  } catch (const std::bad_alloc&) {
    End(lock, kOutOfMemory, Os::ECause::NoMemory);
  }
}

void TCPClient::WakeDrain() {
  queuedMore_.store(true);
  SyncContext()->Kick();
  drainWanted_.Set();
}

void TCPClient::RunDrain() {
  try {
    for (;;) {
      drainWanted_.Wait();
      queuedMore_.store(false);
      if (!Drain()) return;
      // A slow event must not delay bytes queued meanwhile.
      const TSyncScope inside(SyncContext(), &queuedMore_);
      if (inside && Is(EState::Linked))
        RaiseInside([this](TMesEvHandler& handler) { handler.OnMesSendEmpty(this); });
    }
  } catch (const std::bad_alloc&) {
    End(kOutOfMemory, Os::ECause::NoMemory);
  }
}

// Sends until the queue is empty; false if the link has ended.
bool TCPClient::Drain() {
  for (;;) {
    TSocketRef socket;
    {
      const TLock lock(queue_.Mutex());
      if (state_ == EState::Linked && !SendQueued(lock)) EndBySystem(lock);
      if (state_ != EState::Linked) return false;
      if (queue_.Empty()) return true;
      socket = socket_;
    }
    if (!socket->WaitWritable()) EndBySystem();
  }
}

// False if the system refuses.
bool TCPClient::SendQueued(const TLock&) {
  const char* block = nullptr;
  while (const std::size_t count = queue_.GetMemBlock(block)) {
    const std::ptrdiff_t sent = socket_->TrySend(block, count);
    if (sent <= 0) return sent == 0;
    queue_.SetMemUsed(static_cast<std::size_t>(sent));
    taken_ += static_cast<std::size_t>(sent);
  }
  return true;
}

}  // namespace Dova
