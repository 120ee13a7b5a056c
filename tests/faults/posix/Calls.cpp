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

int socket(int domain, int type, int protocol) noexcept {
  if (Fails(EKind::Socket, EMFILE)) return -1;
  return NEXT(socket)(domain, type, protocol);
}

int connect(int fd, const sockaddr* address, socklen_t length) {
  if (Fails(EKind::Socket, ENETUNREACH)) return -1;
  return NEXT(connect)(fd, address, length);
}

ssize_t send(int fd, const void* bytes, size_t length, int flags) {
  if (Fails(EKind::Socket, ENOBUFS)) return -1;
  return NEXT(send)(fd, bytes, length, flags);
}

ssize_t recv(int fd, void* buffer, size_t size, int flags) {
  if (Fails(EKind::Socket, ENOMEM)) return -1;
  return NEXT(recv)(fd, buffer, size, flags);
}

int poll(pollfd* entries, nfds_t count, int timeoutMs) {
  if (Fails(EKind::Socket, ENOMEM)) return -1;
  return NEXT(poll)(entries, count, timeoutMs);
}

int eventfd(unsigned initial, int flags) noexcept {
  if (Fails(EKind::Socket, EMFILE)) return -1;
  return NEXT(eventfd)(initial, flags);
}

int fcntl(int fd, int command, ...) {
  va_list rest;
  va_start(rest, command);
  void* const argument = va_arg(rest, void*);  // every type of it is passed in one register
  va_end(rest);
  if (Fails(EKind::Socket, EINVAL)) return -1;
  return NEXT(fcntl)(fd, command, argument);
}

int getsockopt(int fd, int level, int name, void* value, socklen_t* length) noexcept {
  if (Fails(EKind::Socket, ENOBUFS)) return -1;
  return NEXT(getsockopt)(fd, level, name, value, length);
}

int setsockopt(int fd, int level, int name, const void* value, socklen_t length) noexcept {
  if (Fails(EKind::Socket, ENOBUFS)) return -1;
  return NEXT(setsockopt)(fd, level, name, value, length);
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

// ---- shared memory: how rings are found, looked at and mapped ----

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

int fstatfs(int fd, struct statfs* status) noexcept {
  if (Fails(EKind::SharedMemory, ENOMEM)) return -1;
  return NEXT(fstatfs)(fd, status);
}

void* mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset) noexcept {
  if (Fails(EKind::SharedMemory, ENOMEM)) return MAP_FAILED;
  return NEXT(mmap)(address, length, protection, flags, fd, offset);
}

int fstat(int fd, struct stat* status) noexcept {
  if (Fails(EKind::SharedMemory, ENOMEM)) return -1;
  return NEXT(fstat)(fd, status);
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
