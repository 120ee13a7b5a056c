#pragma once

#include <memory>

#include "platform/os/Socket.h"

namespace Dova {

// Connections that were closed here and wait for the peer to close, too. To close them outright would answer
// what the peer still sends with a reset, which may take back what was sent last. Whoever owns such a socket
// reads and drops what comes; those that take too long are cut off here, by one thread a process that exists
// while there are any.
//
// Any thread; without waiting.
class TFarewells {
 public:
  static constexpr int kLongestMs = 2000;
  static constexpr std::size_t kMost = 32;  // at a time

  // Ends the sending; reading the socket comes to an end within kLongestMs. Where that cannot be promised
  // (too many, no thread, no memory) it is cut off at once, and the answer is false.
  static bool Begin(std::shared_ptr<Os::TSocket> socket) noexcept;

  // Some socket may be gone: lets the thread end before its time.
  static void Look();
};

}  // namespace Dova
