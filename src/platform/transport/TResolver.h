#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/os/Event.h"
#include "platform/os/Socket.h"

namespace Dova {

// Name look-up that can be aborted at once. The system's look-up cannot be interrupted, so it runs on a
// separate thread that nobody joins. Requests for the same host and port share a pending look-up: one that
// hangs costs one thread, however often it is requested.
class TResolver {
 public:
  // Waits for the addresses. If there are none by `due`, or after Abort, returns an empty
  // list and sets `error`. Numeric hosts need no thread and no wait. Throws only std::bad_alloc.
  std::vector<Os::TEndpoint> Resolve(const std::string& host, std::uint16_t port, Os::TTime due,
                                     Os::TError& error);

  // Thread-safe; may be called repeatedly.
  void Abort();

 private:
  Os::TEvent changed_;
  std::atomic<bool> aborted_{false};
};

}  // namespace Dova
