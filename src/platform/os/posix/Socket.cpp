#include "platform/os/Socket.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <list>
#include <mutex>

#include "platform/os/Clock.h"
#include "platform/os/Mutex.h"
#include "platform/os/posix/Descriptor.h"

namespace Dova::Os {
namespace {

thread_local int lastError = 0;

// Polls several descriptors until a given time (INT64_MAX: no limit). Returns poll's result, 0 on timeout.
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

int BeginConnect(int socket, const TEndpoint& to) {
  const auto* address = reinterpret_cast<const sockaddr*>(to.address);
  if (connect(socket, address, static_cast<socklen_t>(to.length)) == 0) return 0;
  // An interrupted connect continues in the background, like one in progress.
  return errno == EINPROGRESS || errno == EINTR ? 0 : errno;
}

// Zero if the pending connection has been established.
int ConnectResult(int socket) {
  int error = 0;
  socklen_t size = sizeof error;
  return getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) != 0 ? errno : error;
}

int SetBlocking(int socket) {
  const int flags = fcntl(socket, F_GETFL);
  return flags < 0 || fcntl(socket, F_SETFL, flags & ~O_NONBLOCK) != 0 ? errno : 0;
}

}  // namespace

struct TSocket::TNative {
  std::atomic<bool> over{false};  // the sending side is shut down
  // Guards opening and closing of the first two descriptors, so that Abort never uses a number reused by
  // another descriptor.
  TMutex mutex;
  TDescriptor socket;
  TDescriptor abortSignal;  // open only while connecting: afterwards a shutdown wakes every wait
  std::list<TDescriptor> attempts;

  int OpenSignal();
  int Adopt(TDescriptor& attempt);
};

int TSocket::TNative::OpenSignal() {
  const std::lock_guard lock(mutex);
  if (over) return ECANCELED;
  if (abortSignal.Get() >= 0) return 0;
  return abortSignal.Open([] { return eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK); }) ? 0 : errno;
}

int TSocket::TNative::Adopt(TDescriptor& attempt) {
  if (const int error = SetBlocking(attempt.Get()); error != 0) return error;
  const std::lock_guard lock(mutex);
  if (over) return ECANCELED;
  socket.Take(attempt);
  return 0;
}

TSocket::TSocket() : native_(std::make_unique<TNative>()) {}
TSocket::~TSocket() = default;

bool TSocket::Begin(const TEndpoint& to, int& failure) {
  const auto open = [&] {
    return ::socket(to.family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_TCP);
  };
  int error = native_->OpenSignal();
  if (error == 0) {
    TDescriptor& attempt = native_->attempts.emplace_back();
    error = attempt.Open(open) ? BeginConnect(attempt.Get(), to) : errno;
    if (error != 0) native_->attempts.pop_back();
  }
  if (error != 0) failure = error;
  return error == 0;
}

TSocket::EAttempt TSocket::Await(std::int64_t dueNs, int& failure) {
  std::vector<pollfd> entries{{native_->abortSignal.Get(), POLLIN, 0}};
  for (const TDescriptor& each : native_->attempts) entries.push_back({each.Get(), POLLOUT, 0});
  const int ready = PollUntil(entries.data(), entries.size(), dueNs);
  if (ready < 0) {
    failure = errno;
    native_->attempts.clear();
    return EAttempt::Failed;
  }
  if (native_->over) return EAttempt::Aborted;
  if (ready == 0) return EAttempt::TimedOut;
  auto attempt = native_->attempts.begin();
  for (std::size_t i = 1; i < entries.size(); ++i) {
    const auto each = attempt++;
    if (entries[i].revents == 0) continue;
    int error = ConnectResult(each->Get());
    if (error == 0) error = native_->Adopt(*each);
    native_->attempts.erase(each);
    if (error == 0) return EAttempt::Made;
    failure = error;
  }
  return EAttempt::Failed;
}

bool TSocket::IsUnderWay() const noexcept {
  return !native_->attempts.empty();
}

void TSocket::DropAttempts() noexcept {
  native_->attempts.clear();
  const std::lock_guard lock(native_->mutex);
  native_->abortSignal.Close();
}

void TSocket::SetNoDelay() noexcept {
  const int on = 1;
  setsockopt(native_->socket.Get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

void TSocket::FinishSending() noexcept {
  const std::lock_guard lock(native_->mutex);
  native_->over = true;
  if (native_->socket.Get() >= 0) shutdown(native_->socket.Get(), SHUT_WR);
}

void TSocket::Abort() noexcept {
  const std::lock_guard lock(native_->mutex);
  native_->over = true;
  if (native_->socket.Get() >= 0) shutdown(native_->socket.Get(), SHUT_RDWR);
  if (native_->abortSignal.Get() >= 0) eventfd_write(native_->abortSignal.Get(), 1);
}

// Without the reset, a peer with a full window would send window probes for minutes.
void TSocket::Reset() noexcept {
  const linger atOnce{1, 0};
  setsockopt(native_->socket.Get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
  Abort();
}

std::ptrdiff_t TSocket::Recv(char* buffer, std::size_t size) noexcept {
  for (;;) {
    const ssize_t count = recv(native_->socket.Get(), buffer, size, 0);
    if (count >= 0) return count;
    if (errno == EINTR) continue;
    lastError = errno;
    return -1;
  }
}

std::ptrdiff_t TSocket::TryRecv(char* buffer, std::size_t size) noexcept {
  for (;;) {
    const ssize_t count = recv(native_->socket.Get(), buffer, size, MSG_DONTWAIT);
    if (count >= 0) return count;
    if (errno == EINTR) continue;
    if (errno == EAGAIN || errno == EWOULDBLOCK) return kWouldWait;
    lastError = errno;
    return -1;
  }
}

std::ptrdiff_t TSocket::TrySend(const char* bytes, std::size_t size) noexcept {
  for (;;) {
    const ssize_t count = send(native_->socket.Get(), bytes, size, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count >= 0) return count;
    if (errno == EINTR) continue;
    if (errno == EAGAIN || errno == EWOULDBLOCK) return 0;
    lastError = errno;
    return -1;
  }
}

// A broken connection counts as writable: the next send reports the cause.
bool TSocket::WaitWritable() noexcept {
  pollfd entry{native_->socket.Get(), POLLOUT, 0};
  const bool polled = PollUntil(&entry, 1, INT64_MAX) > 0;
  lastError = polled ? ECANCELED : errno;
  return polled && !native_->over;
}

TError TSocket::LastError() {
  return {nullptr, lastError};
}

}  // namespace Dova::Os
