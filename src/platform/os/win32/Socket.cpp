#include "platform/os/Socket.h"

#include "platform/os/win32/OverlappedSend.h"

#include <ws2tcpip.h>

#include <atomic>
#include <cstring>
#include <mutex>

#include "platform/os/ErrorText.h"

namespace Dova::Os {
namespace {

thread_local int lastError = 0;

constexpr DWORD kNoInherit = 0x80;  // WSA_FLAG_NO_HANDLE_INHERIT, since Windows 7 SP1

// Stays for the process: there is no moment at which giving it back would be safe.
void StartNetwork() noexcept {
  static const int started = [] {
    WSADATA data;
    return WSAStartup(MAKEWORD(2, 2), &data);
  }();
  static_cast<void>(started);
}

std::vector<TEndpoint> Resolve(const std::string& host, std::uint16_t port, int flags, std::string& error) {
  StartNetwork();
  std::vector<TEndpoint> endpoints;
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_protocol = IPPROTO_TCP;
  hints.ai_flags = flags;
  addrinfo* found = nullptr;
  const int result = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
  if (result != 0) {
    error = SysErrorMessage(result);
    return endpoints;
  }
  for (const addrinfo* each = found; each != nullptr; each = each->ai_next) {
    TEndpoint& endpoint = endpoints.emplace_back();
    if (each->ai_addrlen > sizeof endpoint.address) {
      endpoints.pop_back();
      continue;
    }
    std::memcpy(endpoint.address, each->ai_addr, each->ai_addrlen);
    endpoint.length = static_cast<int>(each->ai_addrlen);
    endpoint.family = each->ai_family;
  }
  freeaddrinfo(found);
  return endpoints;
}

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

}  // namespace

std::vector<TEndpoint> ResolveNumeric(const std::string& host, std::uint16_t port) {
  std::string ignored;
  return Resolve(host, port, AI_NUMERICHOST, ignored);
}

std::vector<TEndpoint> ResolveName(const std::string& host, std::uint16_t port, std::string& error) {
  return Resolve(host, port, 0, error);
}

struct TSocket::TNative {
  std::atomic<bool> aborted{false};
  std::atomic<SOCKET> socket{INVALID_SOCKET};
  // Guards opening and closing of the socket, so that Abort never meets a handle that belongs to someone
  // else.
  std::mutex mutex;
  HANDLE abortEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  TOverlappedSend sender;

  TNative() { StartNetwork(); }
  ~TNative() {
    Close();
    CloseHandle(abortEvent);
  }
  TNative(const TNative&) = delete;
  TNative& operator=(const TNative&) = delete;

  int RunConnect(const TEndpoint& to, int timeoutMs);
  int AwaitConnected(HANDLE event, int timeoutMs) const;
  void Cut() noexcept;
  void Close() noexcept;
};

// Zero when the connection that is under way has been made, else its error.
int TSocket::TNative::AwaitConnected(HANDLE event, int timeoutMs) const {
  const HANDLE both[] = {abortEvent, event};
  const DWORD waitMs = timeoutMs <= 0 ? INFINITE : static_cast<DWORD>(timeoutMs);
  switch (WaitForMultipleObjects(2, both, FALSE, waitMs)) {
    case WAIT_OBJECT_0:
      return WSAECANCELLED;
    case WAIT_OBJECT_0 + 1:
      break;
    case WAIT_TIMEOUT:
      return WSAETIMEDOUT;
    default:
      return static_cast<int>(GetLastError());
  }
  WSANETWORKEVENTS events{};
  if (WSAEnumNetworkEvents(socket, event, &events) != 0) return WSAGetLastError();
  return events.iErrorCode[FD_CONNECT_BIT];
}

int TSocket::TNative::RunConnect(const TEndpoint& to, int timeoutMs) {
  {
    const std::lock_guard<std::mutex> lock(mutex);
    socket = OpenSocket(to.family);
  }
  if (socket == INVALID_SOCKET) return WSAGetLastError();
  const WSAEVENT event = WSACreateEvent();
  if (event == WSA_INVALID_EVENT) return WSAGetLastError();
  int error = 0;
  // Asking for the event makes the socket non-blocking.
  if (WSAEventSelect(socket, event, FD_CONNECT) != 0) {
    error = WSAGetLastError();
  } else if (connect(socket, reinterpret_cast<const sockaddr*>(to.address), to.length) != 0) {
    error = WSAGetLastError();
    if (error == WSAEWOULDBLOCK) error = AwaitConnected(event, timeoutMs);
  }
  u_long nonBlocking = 0;
  if (error == 0 && (WSAEventSelect(socket, nullptr, 0) != 0 ||
                     ioctlsocket(socket, static_cast<long>(FIONBIO), &nonBlocking) != 0)) {
    error = WSAGetLastError();
  }
  WSACloseEvent(event);
  return error;
}

// With the mutex held. The shutdown makes calls fail that begin later, the cancelling ends those that wait
// already.
void TSocket::TNative::Cut() noexcept {
  if (socket == INVALID_SOCKET) return;
  shutdown(socket, SD_BOTH);
  CancelIoEx(reinterpret_cast<HANDLE>(socket.load()), nullptr);
}

void TSocket::TNative::Close() noexcept {
  const std::lock_guard<std::mutex> lock(mutex);
  if (socket == INVALID_SOCKET) return;
  sender.Finish(socket);
  closesocket(socket);
  socket = INVALID_SOCKET;
}

TSocket::TSocket() : native_(std::make_unique<TNative>()) {}
TSocket::~TSocket() = default;

bool TSocket::Connect(const TEndpoint& to, int timeoutMs, std::string& error) {
  native_->Close();
  int failure = native_->aborted ? WSAECANCELLED : native_->RunConnect(to, timeoutMs);
  if (failure == 0) {
    // An Abort that came while connecting found nothing to shut down.
    const std::lock_guard<std::mutex> lock(native_->mutex);
    if (!native_->aborted) return true;
    failure = WSAECANCELLED;
  }
  native_->Close();
  error = SysErrorMessage(failure);
  return false;
}

void TSocket::SetNoDelay() noexcept {
  const BOOL on = TRUE;
  setsockopt(native_->socket, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on), sizeof on);
}

void TSocket::Abort() noexcept {
  const std::lock_guard<std::mutex> lock(native_->mutex);
  native_->aborted = true;
  SetEvent(native_->abortEvent);
  native_->Cut();
}

std::ptrdiff_t TSocket::Recv(char* buffer, std::size_t size) noexcept {
  const int room = size > INT_MAX ? INT_MAX : static_cast<int>(size);
  const int count = recv(native_->socket, buffer, room, 0);
  if (native_->aborted) return Fail(WSAECANCELLED);
  return count >= 0 ? count : Fail(WSAGetLastError());
}

std::ptrdiff_t TSocket::TryRecv(char* buffer, std::size_t size) noexcept {
  if (native_->aborted) return Fail(WSAECANCELLED);
  // There is no "do not wait" for one call here. Only this thread receives, so what is there stays until
  // recv.
  fd_set readable;
  FD_ZERO(&readable);
  FD_SET(native_->socket, &readable);
  timeval atOnce{};
  const int ready = select(0, &readable, nullptr, nullptr, &atOnce);
  if (ready == 0) return kWouldWait;
  return ready < 0 ? Fail(WSAGetLastError()) : Recv(buffer, size);
}

std::ptrdiff_t TSocket::TrySend(const char* bytes, std::size_t size) noexcept {
  if (native_->aborted) return Fail(WSAECANCELLED);
  const std::ptrdiff_t taken = native_->sender.Send(native_->socket, bytes, size);
  return taken >= 0 ? taken : Fail(WSAGetLastError());
}

bool TSocket::WaitWritable() noexcept {
  return native_->sender.WaitIdle(native_->abortEvent) && !native_->aborted;
}

std::string TSocket::LastErrorText() const {
  return SysErrorMessage(lastError);
}

}  // namespace Dova::Os
