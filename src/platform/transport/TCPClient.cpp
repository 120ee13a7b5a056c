#include "platform/transport/TCPClient.h"

#include <algorithm>
#include <new>
#include <utility>

#include "platform/os/Clock.h"
#include "platform/transport/TFarewells.h"

namespace Dova {
namespace {

constexpr int kReceiveBytes = 65536;
constexpr std::size_t kQueueBlockBytes = 4096;
constexpr int kLinkMarginMs = 5000;

// Fits into a std::string without allocation.
constexpr char kOutOfMemory[] = "Out of memory";

}  // namespace

TCPClient::TCPClient() : queue_(kQueueBlockBytes) {}

bool TCPClient::SettingApply(const std::string& setting) {
  std::string refused;
  auto parsed = TTCPSetting::Parse(setting, &refused);
  if (!parsed) {
    SetRefusedWord(std::move(refused));
    return false;
  }
  setting_ = std::move(*parsed);
  return TMesBase::SettingApply(setting);
}

int TCPClient::LinkTimeoutMs() const {
  return setting_.connectTimeoutMs + kLinkMarginMs;
}

bool TCPClient::Open() try {
  received_ = std::make_unique_for_overwrite<char[]>(kReceiveBytes);
  auto socket = std::make_shared<Os::TSocket>();
  {
    const TLock lock(queue_.Mutex());
    socket_ = socket;
    state_ = EState::Connecting;
  }
  const Dstl::wise_ref<TCPClient> self(this);
  return linkThread_.Start(
      "vek-link", [self, socket = std::move(socket)]() mutable { self->RunLink(std::move(socket)); });
} catch (const std::bad_alloc&) {
  return false;
}

void TCPClient::Close() {
  if (IsInherited() || !MarkClosed()) return;
  resolver_.Abort();
  const bool farewell = LetGo();
  WakeDrain();
  // The threads wait for this call to return: an event of this messenger is on the stack below, or their
  // system calls need the loader lock.
  const bool waitedFor = IsDelivering() || Os::HoldsLoaderLock();
  if (farewell || waitedFor) linkThread_.Detach();
  if (waitedFor && drainThread_) drainThread_->Detach();
  linkThread_.Join();
  if (drainThread_) drainThread_->Join();
}

// No data is accepted from now on. Returns true if the link thread stays until the peer has closed too.
bool TCPClient::LetGo() {
  TSocketRef socket;
  bool linked = false;
  {
    const TLock lock(queue_.Mutex());
    linked = std::exchange(state_, EState::Closed) == EState::Linked;
    socket = std::exchange(socket_, nullptr);
    queue_.Clear();
  }
  // An ending process has no thread left to read.
  if (linked && !abrupt_ && !Os::ProcessIsExiting()) return TFarewells::Begin(std::move(socket));
  if (socket) abrupt_ ? socket->Reset() : socket->Abort();
  return false;
}

// ---- the end of a link: any thread ----

void TCPClient::End(std::string reason, Os::ECause cause) noexcept {
  const TLock lock(queue_.Mutex());
  End(lock, std::move(reason), cause);
}

void TCPClient::EndBySystem(const TLock& lock) noexcept {
  const Os::TError error = Os::TSocket::LastError();
  End(lock, SystemReason(error), error.Cause());
}

void TCPClient::EndBySystem() noexcept {
  const TLock lock(queue_.Mutex());
  EndBySystem(lock);
}

void TCPClient::End(const TLock&, std::string reason, Os::ECause cause) noexcept {
  if (!socket_) return;
  state_ = state_ == EState::Linked ? EState::Broken : EState::Failed;
  reason_ = std::move(reason);
  cause_ = cause;
  queue_.Clear();
  std::exchange(socket_, nullptr)->Abort();
  drainWanted_.Set();
}

bool TCPClient::Is(EState state) {
  const TLock lock(queue_.Mutex());
  return state_ == state;
}

std::string TCPClient::SystemReason(const Os::TError& error) const noexcept {
  try {
    return Address() + ": " + error.Text();
  } catch (const std::bad_alloc&) {
    return kOutOfMemory;
  }
}

// ---- receiving: the link thread ----

void TCPClient::RunLink(TSocketRef socket) {
  try {
    Work(*socket);
  } catch (const std::bad_alloc&) {
    End(kOutOfMemory, Os::ECause::NoMemory);
  }
  socket.reset();
  try {
    TFarewells::Look();
    TellEnd();
  } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch): there is nothing left to tell
  }
}

void TCPClient::Work(Os::TSocket& socket) {
  if (Connect(socket) && Greet()) Receive(socket);
  // Discards what is received after the end, until the peer closes or the time limit.
  while (socket.Recv(received_.get(), kReceiveBytes) > 0) continue;
}

bool TCPClient::Connect(Os::TSocket& socket) {
  const Os::TTime due = Os::TClock::now() + std::chrono::milliseconds(setting_.connectTimeoutMs);
  Os::TError error;
  const auto endpoints = resolver_.Resolve(setting_.host, setting_.port, due, error);
  if (endpoints.empty() || !socket.Connect(endpoints, due, error)) {
    End(Address() + ": " + error.Text(), error.Cause());
    return false;
  }
  if (setting_.noDelay) socket.SetNoDelay();
  return true;
}

// Sends are accepted only from inside the context on, so that the handler's own sends come first.
bool TCPClient::Greet() {
  RunInContext([this] {
    {
      const TLock lock(queue_.Mutex());
      if (state_ != EState::Connecting) return;
      state_ = EState::Linked;
    }
    RaiseInside([this](TMesEvHandler& handler) { handler.OnMesLinkReady(this); });
  });
  return Is(EState::Linked);
}

void TCPClient::Receive(Os::TSocket& socket) {
  do {
    const std::ptrdiff_t count = ReceiveSome(socket);
    if (count <= 0) {
      if (count < 0) return EndBySystem();
      return End(Address() + ": closed by the peer", Os::ECause::ClosedByPeer);
    }
    receivedAt_ = 0;
    receivedCount_ = static_cast<int>(count);
  } while (Raise([this](TMesEvHandler& handler) { handler.OnMesRecvReady(this); }));
}

std::ptrdiff_t TCPClient::ReceiveSome(Os::TSocket& socket) {
  if (setting_.spinUs > 0) {
    const std::ptrdiff_t count = Poll(socket);
    if (count != Os::TSocket::kWouldWait) return count;
  }
  return socket.Recv(received_.get(), kReceiveBytes);
}

std::ptrdiff_t TCPClient::Poll(Os::TSocket& socket) {
  const Os::TTime due = Os::TClock::now() + std::chrono::microseconds(setting_.spinUs);
  std::ptrdiff_t count = 0;
  do {
    count = socket.TryRecv(received_.get(), kReceiveBytes);
  } while (count == Os::TSocket::kWouldWait && Os::TClock::now() < due);
  return count;
}

void TCPClient::TellEnd() {
  EState state{};
  std::string reason;
  Os::ECause cause{};
  {
    const TLock lock(queue_.Mutex());
    state = state_;
    reason = std::move(reason_);
    cause = cause_;
  }
  Raise([&](TMesEvHandler& handler) {
    SetEndCause(cause);
    if (state == EState::Failed) handler.OnMesLinkError(this, reason);
    if (state == EState::Broken) handler.OnMesLinkBroken(this, reason);
  });
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
