#include "platform/os/Socket.h"

#include "platform/os/win32/Network.h"
#include "platform/os/win32/OverlappedSend.h"

#include <atomic>
#include <iterator>
#include <mutex>

#include "platform/os/Clock.h"
#include "platform/os/Mutex.h"

namespace Dova::Os {
namespace {

thread_local int lastError = 0;

constexpr unsigned kLooksPerSelect = 1024;

constexpr DWORD kNoInherit = 0x80;  // WSA_FLAG_NO_HANDLE_INHERIT, since Windows 7 SP1

SOCKET OpenSocket(int family) {
  const SOCKET socket =
      WSASocketW(family, SOCK_STREAM, IPPROTO_TCP, nullptr, 0, WSA_FLAG_OVERLAPPED | kNoInherit);
  if (socket != INVALID_SOCKET || WSAGetLastError() != WSAEINVAL) return socket;
  return WSASocketW(family, SOCK_STREAM, IPPROTO_TCP, nullptr, 0, WSA_FLAG_OVERLAPPED);
}

std::ptrdiff_t Fail(int error) noexcept {
  lastError = error;
  return -1;
}

int BeginConnect(SOCKET socket, HANDLE event, const TEndpoint& to) {
  // Selecting the event makes the socket non-blocking.
  if (WSAEventSelect(socket, event, FD_CONNECT) != 0) return WSAGetLastError();
  if (connect(socket, reinterpret_cast<const sockaddr*>(to.address), to.length) == 0) return 0;
  const int error = WSAGetLastError();
  return error == WSAEWOULDBLOCK ? 0 : error;
}

// Zero if the pending connection has been established, kStillUnderWay, or its error.
constexpr int kStillUnderWay = -1;
int ConnectResult(SOCKET socket) {
  WSANETWORKEVENTS events{};
  if (WSAEnumNetworkEvents(socket, nullptr, &events) != 0) return WSAGetLastError();
  return (events.lNetworkEvents & FD_CONNECT) != 0 ? events.iErrorCode[FD_CONNECT_BIT] : kStillUnderWay;
}

int SetBlocking(SOCKET socket) {
  u_long nonBlocking = 0;
  const bool done = WSAEventSelect(socket, nullptr, 0) == 0 &&
                    ioctlsocket(socket, static_cast<long>(FIONBIO), &nonBlocking) == 0;
  return done ? 0 : WSAGetLastError();
}

// Rounded up, so that the due time has passed when the wait ends.
DWORD MsUntil(std::int64_t dueNs) {
  const std::int64_t leftMs = (dueNs - MonotonicNs() + 999'999) / 1'000'000;
  return leftMs <= 0 ? 0 : static_cast<DWORD>(leftMs);
}

}  // namespace

struct TSocket::TNative {
  std::atomic<SOCKET> socket{INVALID_SOCKET};
  // Guards opening and closing of the socket, so that Abort never uses a handle reused by another object.
  TMutex mutex;
  HANDLE over = CreateEventW(nullptr, TRUE, FALSE, nullptr);  // the sending side is shut down
  std::atomic<bool> aborted{false};
  WSAEVENT connected = WSA_INVALID_EVENT;  // an attempt has completed
  std::vector<SOCKET> attempts;
  unsigned looks = 0;  // without data
  TOverlappedSend sender;

  TNative() { StartNetwork(); }
  ~TNative();
  TNative(const TNative&) = delete;
  TNative& operator=(const TNative&) = delete;

  bool IsOver() const noexcept { return WaitForSingleObject(over, 0) == WAIT_OBJECT_0; }
  int OpenEvents();
  int Adopt(SOCKET attempt);
  void DropAttempts() noexcept;
};

TSocket::TNative::~TNative() {
  DropAttempts();
  if (socket != INVALID_SOCKET) {
    sender.Finish(socket);
    closesocket(socket);
  }
  if (over != nullptr) CloseHandle(over);
}

int TSocket::TNative::OpenEvents() {
  if (over == nullptr || !sender.IsUsable()) return WSAENOBUFS;
  if (IsOver()) return WSAECANCELLED;
  if (connected == WSA_INVALID_EVENT) connected = WSACreateEvent();
  return connected == WSA_INVALID_EVENT ? WSAGetLastError() : 0;
}

int TSocket::TNative::Adopt(SOCKET attempt) {
  if (const int error = SetBlocking(attempt); error != 0) return error;
  const std::lock_guard lock(mutex);
  if (IsOver()) return WSAECANCELLED;
  socket = attempt;
  return 0;
}

void TSocket::TNative::DropAttempts() noexcept {
  for (const SOCKET each : attempts) closesocket(each);
  attempts.clear();
  if (connected != WSA_INVALID_EVENT) WSACloseEvent(connected);
  connected = WSA_INVALID_EVENT;
}

TSocket::TSocket() : native_(std::make_unique<TNative>()) {}
TSocket::~TSocket() = default;

bool TSocket::Begin(const TEndpoint& to, int& failure) {
  native_->attempts.reserve(native_->attempts.size() + 1);
  int error = native_->OpenEvents();
  SOCKET attempt = INVALID_SOCKET;
  if (error == 0) {
    attempt = OpenSocket(to.family);
    error = attempt == INVALID_SOCKET ? WSAGetLastError() : BeginConnect(attempt, native_->connected, to);
  }
  if (error == 0) {
    native_->attempts.push_back(attempt);
    return true;
  }
  if (attempt != INVALID_SOCKET) closesocket(attempt);
  failure = error;
  return false;
}

TSocket::EAttempt TSocket::Await(std::int64_t dueNs, int& failure) {
  const HANDLE both[] = {native_->over, native_->connected};
  const DWORD woken = WaitForMultipleObjects(2, both, FALSE, MsUntil(dueNs));
  if (woken == WAIT_OBJECT_0) return EAttempt::Aborted;
  if (woken == WAIT_TIMEOUT) return EAttempt::TimedOut;
  auto& attempts = native_->attempts;
  if (woken != WAIT_OBJECT_0 + 1) {
    failure = static_cast<int>(GetLastError());
    native_->DropAttempts();
    return EAttempt::Failed;
  }
  // Reset before checking: later completions set it again.
  WSAResetEvent(native_->connected);
  for (std::size_t i = 0; i < attempts.size();) {
    int error = ConnectResult(attempts[i]);
    if (error == kStillUnderWay) {
      ++i;
      continue;
    }
    const SOCKET ended = attempts[i];
    attempts.erase(attempts.begin() + static_cast<std::ptrdiff_t>(i));
    if (error == 0) error = native_->Adopt(ended);
    if (error == 0) return EAttempt::Made;
    closesocket(ended);
    failure = error;
  }
  return EAttempt::Failed;
}

bool TSocket::IsUnderWay() const noexcept {
  return !native_->attempts.empty();
}

void TSocket::DropAttempts() noexcept {
  native_->DropAttempts();
}

void TSocket::SetNoDelay() noexcept {
  const BOOL on = TRUE;
  setsockopt(native_->socket, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on), sizeof on);
}

void TSocket::FinishSending() noexcept {
  const std::lock_guard lock(native_->mutex);
  SetEvent(native_->over);
  if (native_->socket != INVALID_SOCKET) shutdown(native_->socket, SD_SEND);
}

// The shutdown makes later calls fail; the cancellation ends pending ones.
void TSocket::Abort() noexcept {
  const std::lock_guard lock(native_->mutex);
  native_->aborted = true;
  SetEvent(native_->over);
  if (native_->socket == INVALID_SOCKET) return;
  shutdown(native_->socket, SD_BOTH);
  CancelIoEx(reinterpret_cast<HANDLE>(native_->socket.load()), nullptr);
}

void TSocket::Reset() noexcept {
  const linger atOnce{1, 0};
  setsockopt(native_->socket, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&atOnce), sizeof atOnce);
  Abort();
}

std::ptrdiff_t TSocket::Recv(char* buffer, std::size_t size) noexcept {
  const int room = size > INT_MAX ? INT_MAX : static_cast<int>(size);
  const int count = recv(native_->socket, buffer, room, 0);
  return count >= 0 ? count : Fail(WSAGetLastError());
}

// Windows has no per-call non-blocking flag. Only this thread receives, so data found here is still there for
// recv. The number of bytes is much cheaper to ask for than select, which alone finds the end of the
// connection.
std::ptrdiff_t TSocket::TryRecv(char* buffer, std::size_t size) noexcept {
  if (native_->aborted) return Fail(WSAECANCELLED);
  u_long there = 0;
  const bool asked = ioctlsocket(native_->socket, static_cast<long>(FIONREAD), &there) == 0;
  if (asked && there == 0 && ++native_->looks % kLooksPerSelect != 0) return kWouldWait;
  if (asked && there != 0) return Recv(buffer, size);
  fd_set readable;
  FD_ZERO(&readable);
  FD_SET(native_->socket, &readable);
  timeval atOnce{};
  const int ready = select(0, &readable, nullptr, nullptr, &atOnce);
  if (ready == 0) return kWouldWait;
  return ready < 0 ? Fail(WSAGetLastError()) : Recv(buffer, size);
}

std::ptrdiff_t TSocket::TrySend(const char* bytes, std::size_t size) noexcept {
  const std::ptrdiff_t taken = native_->sender.Send(native_->socket, bytes, size);
  return taken >= 0 ? taken : Fail(WSAGetLastError());
}

bool TSocket::WaitWritable() noexcept {
  if (native_->sender.WaitIdle(native_->over)) return true;
  lastError = WSAECANCELLED;
  return false;
}

TError TSocket::LastError() {
  return {nullptr, lastError};
}

}  // namespace Dova::Os
