#include "platform/transport/TCPClient.h"

#include <new>
#include <utility>

#include "platform/os/Clock.h"
#include "platform/transport/TFarewells.h"

namespace Dova {
namespace {

constexpr std::size_t kQueueBlockBytes = 4096;
constexpr int kLinkMarginMs = 5000;

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

bool TCPClient::Open() {
  received_ = std::make_unique_for_overwrite<char[]>(kBufferBytes);
  auto socket = std::make_shared<Os::TSocket>();
  {
    const TLock lock(queue_.Mutex());
    socket_ = socket;
    state_ = EState::Connecting;
  }
  const Dstl::wise_ref<TCPClient> self(this);
  return linkThread_.Start(
      "vek-link", [self, socket = std::move(socket)]() mutable { self->RunLink(std::move(socket)); });
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

// ---- the link thread ----

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

}  // namespace Dova
