#pragma once

#include <condition_variable>
#include <mutex>
#include <utility>

#include "sim/SimSeen.h"

namespace VekSim {

/// SimSeen behind a lock, with waiting. Written by the server's thread, read by any thread.
class SimRecord {
 public:
  template <class Change>
  void Update(Change&& change) {
    {
      const std::lock_guard lock(mutex_);
      std::forward<Change>(change)(seen_);
    }
    changed_.notify_all();
  }
  template <class Look>
  auto Read(Look&& look) const {
    const std::lock_guard lock(mutex_);
    return std::forward<Look>(look)(seen_);
  }
  template <class Predicate>
  bool WaitFor(const Predicate& predicate, std::chrono::milliseconds timeout) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return predicate(seen_); });
  }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  SimSeen seen_;
};

}  // namespace VekSim
