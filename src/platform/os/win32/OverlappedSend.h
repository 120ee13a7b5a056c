#pragma once

#include <winsock2.h>

#include <atomic>
#include <cstddef>
#include <string>

namespace Dova::Os {

// Sends without waiting on a socket whose receives wait: Windows can switch waiting off for a whole socket
// only, so the bytes go out from a buffer of ours while the caller goes on. One send at a time is under way;
// the buffer is wiped when its outcome is fetched, mostly before Send returns.
class TOverlappedSend {
 public:
  TOverlappedSend();
  ~TOverlappedSend();
  TOverlappedSend(const TOverlappedSend&) = delete;
  TOverlappedSend& operator=(const TOverlappedSend&) = delete;

  // False when the system had no event to give: then every Send fails.
  bool IsUsable() const noexcept { return overlapped_.hEvent != nullptr; }

  // Bytes taken, 0 while the earlier send is under way, -1 with WSAGetLastError.
  std::ptrdiff_t Send(SOCKET socket, const char* bytes, std::size_t size) noexcept;

  // Waits until nothing is under way; false when `over` was set first. Beside Send on another thread too.
  bool WaitIdle(HANDLE over) const noexcept;

  // Cancels what is under way and waits until the system has let go of the buffer.
  void Finish(SOCKET socket) noexcept;

 private:
  bool Harvest(SOCKET socket) noexcept;
  void WipeBuffer() noexcept;

  WSAOVERLAPPED overlapped_{};
  std::string buffer_;
  std::atomic<bool> underWay_{false};
};

}  // namespace Dova::Os
