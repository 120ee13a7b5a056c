#include "platform/mbus/TCPClient.h"

#include <algorithm>
#include <new>
#include <utility>

#include "platform/os/Clock.h"

namespace Dova {
namespace {
constexpr int kReceiveBytes = 65536;
constexpr std::size_t kQueueBlockBytes = 4096;
}  // namespace

TCPClient::TCPClient() : queue_(kQueueBlockBytes) {}

bool TCPClient::SettingApply(const std::string& setting) {
  auto parsed = TTCPSetting::Parse(setting);
  if (!parsed) return false;
  setting_ = std::move(*parsed);
  return TMesBase::SettingApply(setting);
}

bool TCPClient::Open() {
  received_ = std::make_unique_for_overwrite<char[]>(kReceiveBytes);
  return linkThread_.Start("vek-link", [self = Dstl::wise_ref<TCPClient>(this)] { self->RunLink(); });
}

void TCPClient::Close() {
  if (!MarkClosed()) return;
  resolver_.Abort();
  socket_.Abort();
  {
    const std::lock_guard lock(queue_.Mutex());
    linked_ = false;
    queue_.Clear();
  }
  // After linked_: a drain thread that clears the flag later than this sees linked_ and ends.
  WakeDrain();
  // An event of ours is on the stack beneath: its thread waits for this call to return. It ends by itself
  // afterwards.
  if (IsDelivering()) {
    linkThread_.Detach();
    drainThread_.Detach();
  } else {
    linkThread_.Join();
    drainThread_.Join();
  }
}

// ---- receiving: the link thread ----

void TCPClient::RunLink() {
  std::string reason;
  if (!Connect(reason)) {
    Raise([&](TMesEvHandler& handler) { handler.OnMesLinkError(this, reason); });
    return;
  }
  {
    const std::lock_guard lock(queue_.Mutex());
    linked_ = !IsClosed();
  }
  if (!Raise([this](TMesEvHandler& handler) { handler.OnMesLinkReady(this); })) return;
  greeted_.store(true, std::memory_order_release);
  ReceiveUntilBroken();
}

bool TCPClient::Connect(std::string& reason) {
  std::string error;
  const auto endpoints = resolver_.Resolve(setting_.host, setting_.port, error);
  if (!endpoints.empty() && ConnectTo(endpoints, error)) {
    if (setting_.noDelay) socket_.SetNoDelay();
    return true;
  }
  reason = Address() + ": " + error;
  return false;
}

bool TCPClient::ConnectTo(const std::vector<Os::TEndpoint>& endpoints, std::string& error) {
  const std::int64_t dueNs = Os::MonotonicNs() + std::int64_t{setting_.connectTimeoutMs} * 1'000'000;
  for (const Os::TEndpoint& endpoint : endpoints) {
    const std::int64_t leftMs = (dueNs - Os::MonotonicNs()) / 1'000'000;
    if (leftMs <= 0 || IsClosed()) break;
    if (socket_.Connect(endpoint, static_cast<int>(leftMs), error)) return true;
  }
  return false;
}

void TCPClient::ReceiveUntilBroken() {
  for (;;) {
    const std::ptrdiff_t count = ReceiveSome();
    if (count <= 0) {
      const std::string reason =
          Address() + ": " + (count == 0 ? "closed by the peer" : socket_.LastErrorText());
      {
        const std::lock_guard lock(queue_.Mutex());
        linked_ = false;
        queue_.Clear();
      }
      WakeDrain();
      Raise([&](TMesEvHandler& handler) { handler.OnMesLinkBroken(this, reason); });
      return;
    }
    receivedAt_ = 0;
    receivedCount_ = static_cast<int>(count);
    if (!RaiseReceived()) return;
  }
}

std::ptrdiff_t TCPClient::ReceiveSome() {
  if (setting_.spinUs > 0) {
    const std::ptrdiff_t count = Poll();
    if (count != Os::TSocket::kWouldWait) return count;
  }
  return socket_.Recv(received_.get(), kReceiveBytes);
}

std::ptrdiff_t TCPClient::Poll() {
  const std::int64_t dueNs = Os::MonotonicNs() + std::int64_t{setting_.spinUs} * 1000;
  std::ptrdiff_t count = 0;
  do {
    count = socket_.TryRecv(received_.get(), kReceiveBytes);
  } while (count == Os::TSocket::kWouldWait && Os::MonotonicNs() < dueNs);
  return count;
}

bool TCPClient::RaiseReceived() {
  return Raise([this](TMesEvHandler& handler) { handler.OnMesRecvReady(this); });
}

int TCPClient::Recv(char* buffer, int size) {
  const int count = std::min(size, receivedCount_ - receivedAt_);
  std::copy_n(received_.get() + receivedAt_, std::max(count, 0), buffer);
  receivedAt_ += std::max(count, 0);
  return count;
}

char* TCPClient::RecvInPlace(int& count) {
  count = receivedCount_ - receivedAt_;
  return received_.get() + std::exchange(receivedAt_, receivedCount_);
}

// ---- sending: any thread ----

int TCPClient::Send(const char* bytes, int length) {
  if (length <= 0) return 0;
  if (!greeted_.load(std::memory_order_acquire) && !SyncContext()->IsInside()) return 0;
  const auto size = static_cast<std::size_t>(length);
  bool queued = false;
  {
    const std::lock_guard lock(queue_.Mutex());
    if (!linked_) return 0;
    std::size_t taken = 0;
    if (queue_.Empty()) {
      const std::ptrdiff_t sent = socket_.TrySend(bytes, size);
      if (sent < 0) {
        linked_ = false;  // the receiving thread learns why, and tells
        return 0;
      }
      taken = static_cast<std::size_t>(sent);
    } else if (queue_.Size() + size > setting_.sendQueueBytes) {
      return 0;
    }
    if (taken < size) queued = Queue(bytes + taken, size - taken);
    if (taken < size && !queued) return 0;
  }
  if (queued) WakeDrain();
  return length;
}

void TCPClient::WakeDrain() {
  busy_.store(true);
  SyncContext()->Kick();
  drainWanted_.Set();
}

// Under the queue's lock. Without memory for the rest or a thread to drain it, the stream would be torn: the
// link has to end.
bool TCPClient::Queue(const char* bytes, std::size_t length) {
  try {
    if (StartDrain()) {
      queue_.Append(bytes, length);
      return true;
    }
  } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch): the same as no thread
  }
  linked_ = false;
  socket_.Abort();
  return false;
}

bool TCPClient::StartDrain() {
  if (!draining_) {
    draining_ =
        drainThread_.Start("vek-drain", [self = Dstl::wise_ref<TCPClient>(this)] { self->RunDrain(); });
  }
  return draining_;
}

void TCPClient::RunDrain() {
  while (!IsClosed()) {
    drainWanted_.Wait();
    busy_.store(false);
    if (!Drain()) return;
    // Waiting behind a slow event must not hold up bytes that were queued meanwhile.
    const TSyncScope inside(SyncContext(), &busy_);
    if (inside) RaiseInside([this](TMesEvHandler& handler) { handler.OnMesSendEmpty(this); });
  }
}

// False when there is nothing left to do for this thread.
bool TCPClient::Drain() {
  for (;;) {
    {
      const std::lock_guard lock(queue_.Mutex());
      const char* block = nullptr;
      const std::size_t count = linked_ ? queue_.GetMemBlock(block) : 0;
      if (count == 0) return linked_;
      const std::ptrdiff_t sent = socket_.TrySend(block, count);
      if (sent < 0) return false;
      if (sent > 0 && queue_.SetMemUsed(static_cast<std::size_t>(sent)) == 0) return true;
      if (sent > 0) continue;
    }
    if (!socket_.WaitWritable()) return false;
  }
}

}  // namespace Dova
