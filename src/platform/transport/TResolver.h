#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/os/Event.h"
#include "platform/os/Socket.h"

namespace Dova {

// Looks a host up in a way that can be given up at once: the system's own look-up cannot be interrupted, so
// it runs on a thread of its own that nobody waits for. Whoever asks for the same host and port while that is
// going on waits for the same answer: a look-up that hangs costs one thread, however often it is asked for.
class TResolver {
 public:
  // Waits for the addresses; empty with `error` set when there are none by dueNs (Os::MonotonicNs) or Abort
  // was called. Numeric hosts need no thread and no wait. Throws only std::bad_alloc.
  std::vector<Os::TEndpoint> Resolve(const std::string& host, std::uint16_t port, std::int64_t dueNs,
                                     std::string& error);

  // Any thread, any number of times.
  void Abort();

 private:
  Os::TEvent changed_;
  std::atomic<bool> aborted_{false};
};

}  // namespace Dova
