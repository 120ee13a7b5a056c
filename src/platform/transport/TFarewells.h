#pragma once

#include <memory>

#include "platform/os/Socket.h"

namespace Dova {

// Connections closed here that wait for the peer to close too. Closing them at once would answer further data
// from the peer with a reset, which may discard what was sent last. The owner of such a socket reads and
// discards; sockets that take too long are cut off here, by one thread per process that exists while there
// are any.
//
// Thread-safe and non-blocking.
class TFarewells {
 public:
  static constexpr int kLongestMs = 2000;
  static constexpr std::size_t kMost = 32;  // at the same time

  // Shuts down the sending side; reading the socket ends within kLongestMs. If that cannot be guaranteed (too
  // many sockets, no thread, no memory), the socket is cut off at once and false is returned.
  static bool Begin(std::shared_ptr<Os::TSocket> socket) noexcept;

  // Call it when a socket may be gone: lets the thread end early.
  static void Look();
};

}  // namespace Dova
