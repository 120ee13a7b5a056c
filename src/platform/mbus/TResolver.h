#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/os/Socket.h"

namespace Dova {

// Looks a host up in a way that can be given up at once: the system's own look-up cannot be interrupted, so
// it runs on a thread of its own that nobody waits for.
class TResolver {
 public:
  TResolver();

  // Waits for the addresses; empty with `error` set when there are none or Abort was called. Numeric hosts
  // need no thread and no wait.
  std::vector<Os::TEndpoint> Resolve(const std::string& host, std::uint16_t port, std::string& error);

  // Any thread, any number of times.
  void Abort();

 private:
  struct TState;
  std::shared_ptr<TState> state_;
};

}  // namespace Dova
