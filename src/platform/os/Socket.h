#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/os/Clock.h"
#include "platform/os/Error.h"

namespace Dova::Os {

// A network address with a port.
struct TEndpoint {
  alignas(8) unsigned char address[128];  // struct sockaddr_storage
  int length = 0;
  int family = 0;
};

// Network services are started on first use and stay started until the process ends.

// Addresses of a numeric host ("127.0.0.1", "::1"); empty for anything else. Never blocks.
std::vector<TEndpoint> ResolveNumeric(const std::string& host, std::uint16_t port);

// Addresses of a host name, in the system's order of preference. May block without limit and cannot be
// interrupted. If there are none, returns an empty list and sets `error`.
std::vector<TEndpoint> ResolveName(const std::string& host, std::uint16_t port, TError& error);

// A TCP client socket. One thread connects and receives; any thread may Abort or FinishSending; one thread at
// a time sends. A forked child does not keep the connection: every call fails there.
class TSocket {
 public:
  TSocket();
  ~TSocket();
  TSocket(const TSocket&) = delete;
  TSocket& operator=(const TSocket&) = delete;

  // Connects to one of several addresses of a host and waits for the outcome. A new attempt starts a quarter
  // of a second after the previous one, or at once if one has failed; earlier ones continue in parallel. The
  // first connection is kept, the others are closed. Address families alternate. Returns false and sets
  // `error` if all failed (the last one's error), at `due`, or if aborted. May be called
  // again after a failure. Throws only std::bad_alloc.
  bool Connect(const std::vector<TEndpoint>& to, TTime due, TError& error);

  // Disables Nagle's algorithm. Call it after Connect.
  void SetNoDelay() noexcept;

  // Shuts down the sending side, after the data accepted so far. Receiving continues; WaitWritable returns.
  void FinishSending() noexcept;

  // Ends the connection, and every current or later waiting call: Recv may still return data received before.
  // May be called repeatedly; the object stays usable, but its calls fail.
  void Abort() noexcept;

  // As Abort, without waiting for the peer: data it has not read yet may be lost.
  void Reset() noexcept;

  // Waits for data and returns its length; 0 if the connection has ended, negative if it is broken.
  std::ptrdiff_t Recv(char* buffer, std::size_t size) noexcept;

  static constexpr std::ptrdiff_t kWouldWait = -2;
  // As Recv without waiting: kWouldWait if there is no data. For polling: that the connection has ended may
  // take some thousand calls to be noticed.
  std::ptrdiff_t TryRecv(char* buffer, std::size_t size) noexcept;

  // Sends what is possible without waiting, possibly 0 bytes; returns the number, negative if sending will
  // never work again. The caller may reuse the bytes when this returns.
  std::ptrdiff_t TrySend(const char* bytes, std::size_t size) noexcept;

  // Waits until TrySend can make progress or fails. Returns false if waiting is impossible or the sending
  // side is shut down.
  bool WaitWritable() noexcept;

  // Why the calling thread's last call here failed.
  static TError LastError();

 private:
  struct TNative;
  enum class EAttempt { Made, Failed, TimedOut, Aborted };

  // The steps of Connect. Begin returns false if the attempt failed at once. Await returns Made when an
  // attempt has become this socket's connection, Failed when one has failed.
  bool Begin(const TEndpoint& to, int& failure);
  EAttempt Await(std::int64_t dueNs, int& failure);
  bool IsUnderWay() const noexcept;
  void DropAttempts() noexcept;
  EAttempt Race(const std::vector<TEndpoint>& to, std::int64_t dueNs, int& failure);

  std::unique_ptr<TNative> native_;
};

}  // namespace Dova::Os
