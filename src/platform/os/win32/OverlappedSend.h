#pragma once

#include <winsock2.h>

#include <atomic>
#include <cstddef>
#include <string>

namespace Dova::Os {

// Non-blocking sends on a socket with blocking receives. Windows can only make a whole socket non-blocking,
// so data is sent from our own buffer while the caller continues. One send is pending at a time; the buffer
// is wiped when its outcome is collected, usually before Send returns.
class TOverlappedSend {
 public:
  TOverlappedSend();
  ~TOverlappedSend();
  TOverlappedSend(const TOverlappedSend&) = delete;
  TOverlappedSend& operator=(const TOverlappedSend&) = delete;

  // False if the system had no event: every Send then fails.
  bool IsUsable() const noexcept { return overlapped_.hEvent != nullptr; }

  // Bytes accepted; 0 while the previous send is pending; -1 with WSAGetLastError.
  std::ptrdiff_t Send(SOCKET socket, const char* bytes, std::size_t size) noexcept;

  // Waits until no send is pending; false if `over` was set first. May run on another thread concurrently
  // with Send.
  bool WaitIdle(HANDLE over) const noexcept;

  // Cancels the pending send and waits until the system no longer uses the buffer.
  void Finish(SOCKET socket) noexcept;

 private:
  bool Harvest(SOCKET socket) noexcept;
  void WipeBuffer() noexcept;

  WSAOVERLAPPED overlapped_{};
  std::string buffer_;
  std::atomic<bool> underWay_{false};
};

}  // namespace Dova::Os
