// What the library asks of the system, in front of the system's own functions.
#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>

#include "faults/posix/Faults.h"

namespace {

using Faults::EKind;

template <class TFunction>
TFunction* Next(const char* name) {
  return reinterpret_cast<TFunction*>(dlsym(RTLD_NEXT, name));
}

// The next definition of a function of this file.
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
  void* const argument = va_arg(rest, void*);  // every kind of it comes in one register
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

// It fails when the connection has gone already.
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

// ---- shared memory ----

int shm_open(const char* name, int flags, mode_t mode) {
  if (Fails(EKind::SharedMemory, EMFILE)) return -1;
  return NEXT(shm_open)(name, flags, mode);
}

int ftruncate(int fd, off_t length) noexcept {
  if (Fails(EKind::SharedMemory, ENOSPC)) return -1;
  return NEXT(ftruncate)(fd, length);
}

int posix_fallocate(int fd, off_t offset, off_t length) {
  if (Faults::Fails(EKind::SharedMemory)) return ENOSPC;
  return NEXT(posix_fallocate)(fd, offset, length);
}

void* mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset) noexcept {
  if (Fails(EKind::SharedMemory, ENOMEM)) return MAP_FAILED;
  return NEXT(mmap)(address, length, protection, flags, fd, offset);
}

int flock(int fd, int operation) noexcept {
  if (Fails(EKind::SharedMemory, ENOLCK)) return -1;
  return NEXT(flock)(fd, operation);
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

int memfd_create(const char* name, unsigned flags) noexcept {
  if (Fails(EKind::SharedMemory, EMFILE)) return -1;
  return NEXT(memfd_create)(name, flags);
}

}  // extern "C"
