#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Dova::Os {

// A network address with a port.
struct TEndpoint {
  alignas(8) unsigned char address[128];  // struct sockaddr_storage
  int length = 0;
  int family = 0;
};

// Network services are started on first use and stay for the process.

// Addresses of a host that is written as numbers ("127.0.0.1", "::1"); empty when it is not one. Never waits.
std::vector<TEndpoint> ResolveNumeric(const std::string& host, std::uint16_t port);

// Addresses of a host name, in the system's order of preference. May wait for as long as the system likes;
// cannot be interrupted. Empty with `error` set when there are none.
std::vector<TEndpoint> ResolveName(const std::string& host, std::uint16_t port, std::string& error);

// A TCP client socket: one thread connects and receives; any thread may Abort or FinishSending; one thread at
// a time sends. A forked child does not keep the connection: there every call fails.
class TSocket {
 public:
  TSocket();
  ~TSocket();
  TSocket(const TSocket&) = delete;
  TSocket& operator=(const TSocket&) = delete;

  // Connects to one of several addresses of a host and waits until that is done. An attempt begins a quarter
  // of a second after the one before, or at once when one has failed; earlier ones go on beside it, the first
  // that is connected stays, the others are closed. Kinds of address take turns. False with `error` set when
  // all failed (then it is the last one's error), at dueNs (Os::MonotonicNs), or when aborted. May be called
  // again after a failure. Throws only std::bad_alloc.
  bool Connect(const std::vector<TEndpoint>& to, std::int64_t dueNs, std::string& error);

  // Switches the delay of small packets off. After Connect.
  void SetNoDelay() noexcept;

  // Tells the peer that nothing more will be sent, once it has what was taken so far. Receiving goes on;
  // WaitWritable ends.
  void FinishSending() noexcept;

  // Ends the connection, and every call that waits here now or later: Recv may still give what had come
  // before. Any number of times; the object stays usable for calls that fail.
  void Abort() noexcept;

  // The same, and the peer need not be waited for: what it has not fetched yet may be lost.
  void Reset() noexcept;

  // Waits for bytes: their count; 0 when the connection has ended; negative when broken.
  std::ptrdiff_t Recv(char* buffer, std::size_t size) noexcept;

  static constexpr std::ptrdiff_t kWouldWait = -2;
  // The same without waiting: kWouldWait when nothing is there.
  std::ptrdiff_t TryRecv(char* buffer, std::size_t size) noexcept;

  // Takes what can be taken without waiting, possibly 0; negative when the system refuses to take anything
  // ever again. The bytes may be changed by the caller as soon as this returns.
  std::ptrdiff_t TrySend(const char* bytes, std::size_t size) noexcept;

  // Waits until TrySend may take something or fails; false when that cannot be waited for or nothing more is
  // to be sent.
  bool WaitWritable() noexcept;

  // The system's text for what made the calling thread's last call fail here.
  static std::string LastErrorText();

 private:
  struct TNative;
  enum class EAttempt { Made, Failed, TimedOut, Aborted };

  // The steps of Connect. Begin: false when the attempt failed at once. Await: Made when an attempt has
  // become this socket's connection, Failed when one is gone.
  bool Begin(const TEndpoint& to, int& failure);
  EAttempt Await(std::int64_t dueNs, int& failure);
  bool IsUnderWay() const noexcept;
  void DropAttempts() noexcept;
  EAttempt Race(const std::vector<TEndpoint>& to, std::int64_t dueNs, int& failure);

  std::unique_ptr<TNative> native_;
};

}  // namespace Dova::Os
