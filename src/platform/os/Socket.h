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

// A TCP client socket: one thread connects and receives; any thread may Abort; one thread at a time sends.
class TSocket {
 public:
  TSocket();
  ~TSocket();
  TSocket(const TSocket&) = delete;
  TSocket& operator=(const TSocket&) = delete;

  // Waits until connected. False with `error` set when refused, timed out (timeoutMs; 0 or less: the system's
  // own limit) or aborted. May be called again with another address after a failure.
  bool Connect(const TEndpoint& to, int timeoutMs, std::string& error);

  // Switches the delay of small packets off. After Connect.
  void SetNoDelay() noexcept;

  // Ends the connection, and every call that waits here now or later returns at once. From any thread, any
  // number of times; the object stays usable for calls that fail.
  void Abort() noexcept;

  // Waits for bytes: their count; 0 when the peer has closed; negative when broken or aborted.
  std::ptrdiff_t Recv(char* buffer, std::size_t size) noexcept;

  static constexpr std::ptrdiff_t kWouldWait = -2;
  // The same without waiting: kWouldWait when nothing is there.
  std::ptrdiff_t TryRecv(char* buffer, std::size_t size) noexcept;

  // Takes what can be taken without waiting, possibly 0; negative when broken. The bytes may be changed by
  // the caller as soon as this returns.
  std::ptrdiff_t TrySend(const char* bytes, std::size_t size) noexcept;

  // Waits until TrySend may take something; false when broken or aborted.
  bool WaitWritable() noexcept;

  // The system's text for what broke the last Recv or TrySend of the calling thread.
  std::string LastErrorText() const;

 private:
  struct TNative;
  std::unique_ptr<TNative> native_;
};

}  // namespace Dova::Os
