// The system functions used by the library, overridden.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <string_view>

#include "faults/posix/Faults.h"

namespace {

using Faults::EKind;

template <class TFunction>
TFunction* Next(const char* name) {
  return reinterpret_cast<TFunction*>(dlsym(RTLD_NEXT, name));
}

// The next definition of an overridden function.
#define NEXT(name)                                        \
  [] {                                                    \
    static const auto next = Next<decltype(name)>(#name); \
    return next;                                          \
  }()

// Overrides a function that returns -1 on failure.
#define OVERRIDE(kind, error, result, name, parameters, ...) \
  result name parameters {                                   \
    if (Fails(EKind::kind, error)) return -1;                \
    return NEXT(name)(__VA_ARGS__);                          \
  }

bool Fails(EKind kind, int error) {
  if (!Faults::Fails(kind)) return false;
  errno = error;
  return true;
}

}  // namespace

extern "C" {

int pthread_create(pthread_t* id, const pthread_attr_t* attributes, void* (*body)(void*), void* argument) {
  if (Faults::Fails(EKind::Thread)) return EAGAIN;
  return NEXT(pthread_create)(id, attributes, body, argument);
}

// ---- sockets ----

OVERRIDE(Socket, EMFILE, int, socket, (int domain, int type, int protocol) noexcept, domain, type, protocol)
OVERRIDE(Socket, ENETUNREACH, int, connect, (int fd, const sockaddr* to, socklen_t length), fd, to, length)
OVERRIDE(Socket, ENOBUFS, ssize_t, send, (int fd, const void* bytes, size_t length, int flags), fd, bytes,
         length, flags)
OVERRIDE(Socket, ENOMEM, ssize_t, recv, (int fd, void* buffer, size_t size, int flags), fd, buffer, size,
         flags)
OVERRIDE(Socket, ENOMEM, int, poll, (pollfd * entries, nfds_t count, int timeoutMs), entries, count,
         timeoutMs)
OVERRIDE(Socket, EMFILE, int, eventfd, (unsigned initial, int flags) noexcept, initial, flags)
OVERRIDE(Socket, ENOBUFS, int, getsockopt,
         (int fd, int level, int name, void* value, socklen_t* length) noexcept, fd, level, name, value,
         length)
OVERRIDE(Socket, ENOBUFS, int, setsockopt,
         (int fd, int level, int name, const void* value, socklen_t length) noexcept, fd, level, name, value,
         length)

int fcntl(int fd, int command, ...) {
  va_list rest;
  va_start(rest, command);
  void* const argument = va_arg(rest, void*);  // arguments of every type are passed in one register
  va_end(rest);
  if (Fails(EKind::Socket, EINVAL)) return -1;
  return NEXT(fcntl)(fd, command, argument);
}

// Fails if the connection has already ended.
int shutdown(int fd, int how) noexcept {
  if (!Fails(EKind::Socket, ENOTCONN)) return NEXT(shutdown)(fd, how);
  NEXT(shutdown)(fd, SHUT_RDWR);
  errno = ENOTCONN;
  return -1;
}

int getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** results) {
  if (Faults::Fails(EKind::Socket)) return EAI_MEMORY;
  return NEXT(getaddrinfo)(host, service, hints, results);
}

// ---- shared memory: how rings are found, examined and mapped ----

OVERRIDE(SharedMemory, ENOMEM, int, fstatfs, (int fd, struct statfs* status) noexcept, fd, status)
OVERRIDE(SharedMemory, ENOMEM, int, fstat, (int fd, struct stat* status) noexcept, fd, status)

DIR* opendir(const char* path) {
  if (Fails(EKind::SharedMemory, EMFILE)) return nullptr;
  return NEXT(opendir)(path);
}

// A process has many descriptors: only those of memory files matter.
ssize_t readlinkat(int folder, const char* entry, char* text, size_t size) noexcept {
  const ssize_t length = NEXT(readlinkat)(folder, entry, text, size);
  constexpr std::string_view kMemoryFile = "/memfd:";
  if (length < 0 || std::string_view(text, static_cast<size_t>(length)).substr(0, 7) != kMemoryFile)
    return length;
  return Fails(EKind::SharedMemory, ENOMEM) ? -1 : length;
}

int openat(int folder, const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const auto mode = static_cast<mode_t>(va_arg(rest, unsigned));
  va_end(rest);
  if (Fails(EKind::SharedMemory, EMFILE)) return -1;
  return NEXT(openat)(folder, path, flags, mode);
}

void* mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset) noexcept {
  if (Fails(EKind::SharedMemory, ENOMEM)) return MAP_FAILED;
  return NEXT(mmap)(address, length, protection, flags, fd, offset);
}

int open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const auto mode = static_cast<mode_t>(va_arg(rest, unsigned));
  va_end(rest);
  if (Fails(EKind::SharedMemory, EMFILE)) return -1;
  return NEXT(open)(path, flags, mode);
}

}  // extern "C"
