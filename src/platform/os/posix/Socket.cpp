#include "platform/os/Socket.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>

#include "platform/os/Clock.h"
#include "platform/os/ErrorText.h"

namespace Dova::Os {
namespace {

thread_local int lastError = 0;

std::vector<TEndpoint> Resolve(const std::string& host, std::uint16_t port, int flags, std::string& error) {
  std::vector<TEndpoint> endpoints;
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = flags | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const int result = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
  if (result != 0) {
    error = result == EAI_SYSTEM ? SysErrorMessage(errno) : gai_strerror(result);
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

// Waits for one of two descriptors by a moment (INT64_MAX: for ever). The number of poll, 0 when time is up.
int PollUntil(pollfd* entries, nfds_t count, std::int64_t due) {
  for (;;) {
    int waitMs = -1;
    if (due != INT64_MAX) {
      const std::int64_t left = due - MonotonicNs();
      waitMs = left <= 0 ? 0 : static_cast<int>((left + 999'999) / 1'000'000);
    }
    const int ready = poll(entries, count, waitMs);
    if (ready >= 0 || errno != EINTR) return ready;
  }
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
  std::atomic<int> socket{-1};
  // Guards opening and closing of both descriptors, so that Abort never meets a number that belongs to
  // someone else.
  std::mutex mutex;
  // Only there while connecting: afterwards a shutdown wakes every wait, and descriptors are scarce.
  int abortSignal = -1;

  bool Open(int family);
  int AwaitConnected(std::int64_t due);
  int RunConnect(const TEndpoint& to, int timeoutMs);
  void CloseSignal();
  void CloseSocket();
};

bool TSocket::TNative::Open(int family) {
  const std::lock_guard<std::mutex> lock(mutex);
  abortSignal = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (abortSignal < 0) return false;
  socket = ::socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_TCP);
  return socket >= 0;
}

// Zero when the connection that is under way has been made, else its error.
int TSocket::TNative::AwaitConnected(std::int64_t due) {
  pollfd entries[] = {{socket, POLLOUT, 0}, {abortSignal, POLLIN, 0}};
  const int ready = PollUntil(entries, 2, due);
  if (ready < 0) return errno;
  if (ready == 0) return ETIMEDOUT;
  if (entries[1].revents != 0) return ECANCELED;
  int error = 0;
  socklen_t size = sizeof error;
  return getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) != 0 ? errno : error;
}

int TSocket::TNative::RunConnect(const TEndpoint& to, int timeoutMs) {
  const std::int64_t due = timeoutMs <= 0 ? INT64_MAX : MonotonicNs() + std::int64_t{timeoutMs} * 1'000'000;
  if (!Open(to.family)) return errno;
  if (aborted) return ECANCELED;
  if (connect(socket, reinterpret_cast<const sockaddr*>(to.address), static_cast<socklen_t>(to.length)) !=
      0) {
    // An interrupted connect goes on by itself like one that is under way.
    if (errno != EINPROGRESS && errno != EINTR) return errno;
    if (const int error = AwaitConnected(due); error != 0) return error;
  }
  const int flags = fcntl(socket, F_GETFL);
  if (flags < 0 || fcntl(socket, F_SETFL, flags & ~O_NONBLOCK) != 0) return errno;
  return 0;
}

void TSocket::TNative::CloseSignal() {
  const std::lock_guard<std::mutex> lock(mutex);
  if (abortSignal >= 0) close(abortSignal);
  abortSignal = -1;
  // An Abort that came while connecting found nothing to shut down.
  if (aborted && socket >= 0) shutdown(socket, SHUT_RDWR);
}

void TSocket::TNative::CloseSocket() {
  const std::lock_guard<std::mutex> lock(mutex);
  if (socket >= 0) close(socket);
  socket = -1;
}

TSocket::TSocket() : native_(std::make_unique<TNative>()) {}

TSocket::~TSocket() {
  native_->CloseSocket();
}

bool TSocket::Connect(const TEndpoint& to, int timeoutMs, std::string& error) {
  native_->CloseSocket();
  const int failure = native_->aborted ? ECANCELED : native_->RunConnect(to, timeoutMs);
  native_->CloseSignal();
  if (failure == 0 && !native_->aborted) return true;
  native_->CloseSocket();
  error = SysErrorMessage(failure == 0 ? ECANCELED : failure);
  return false;
}

void TSocket::SetNoDelay() noexcept {
  const int on = 1;
  setsockopt(native_->socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

void TSocket::Abort() noexcept {
  const std::lock_guard<std::mutex> lock(native_->mutex);
  native_->aborted = true;
  if (native_->socket >= 0) shutdown(native_->socket, SHUT_RDWR);
  if (native_->abortSignal >= 0) eventfd_write(native_->abortSignal, 1);
}

std::ptrdiff_t TSocket::Recv(char* buffer, std::size_t size) noexcept {
  for (;;) {
    const ssize_t count = recv(native_->socket, buffer, size, 0);
    if (native_->aborted) {
      lastError = ECANCELED;
      return -1;
    }
    if (count >= 0) return count;
    if (errno == EINTR) continue;
    lastError = errno;
    return -1;
  }
}

std::ptrdiff_t TSocket::TryRecv(char* buffer, std::size_t size) noexcept {
  for (;;) {
    const ssize_t count = recv(native_->socket, buffer, size, MSG_DONTWAIT);
    if (native_->aborted) {
      lastError = ECANCELED;
      return -1;
    }
    if (count >= 0) return count;
    if (errno == EINTR) continue;
    if (errno == EAGAIN || errno == EWOULDBLOCK) return kWouldWait;
    lastError = errno;
    return -1;
  }
}

std::ptrdiff_t TSocket::TrySend(const char* bytes, std::size_t size) noexcept {
  for (;;) {
    const ssize_t count = send(native_->socket, bytes, size, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count >= 0) return count;
    if (errno == EINTR) continue;
    if (errno == EAGAIN || errno == EWOULDBLOCK) return 0;
    lastError = errno;
    return -1;
  }
}

bool TSocket::WaitWritable() noexcept {
  pollfd entry{native_->socket, POLLOUT, 0};
  const int ready = PollUntil(&entry, 1, INT64_MAX);
  return ready > 0 && (entry.revents & (POLLERR | POLLHUP | POLLNVAL)) == 0 && !native_->aborted;
}

std::string TSocket::LastErrorText() const {
  return SysErrorMessage(lastError);
}

}  // namespace Dova::Os
