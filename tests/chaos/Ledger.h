// What a server saw, by work id, while it runs.
#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "sim/SimConfig.h"

namespace Chaos {

// A request, and the link that it came by.
struct TSeen {
  std::string id;
  int link;
};

class TLedger {
 public:
  // A server's configuration that tells this.
  VekSim::SimConfig Config() {
    VekSim::SimConfig config;
    config.keepPackets = false;
    config.queryRate = {1000, 1};
    config.log = [this](const VekSim::SimNote& note) {
      if (note.what == "request") Add({note.workId, note.session});
    };
    return config;
  }

  // In the order of arrival.
  std::vector<TSeen> Requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
  }

  // Whether all these have arrived, waiting for a while.
  bool AwaitAll(const std::vector<std::string>& ids) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(30), [&] {
      for (const std::string& id : ids)
        if (counts_[id] == 0) return false;
      return true;
    });
  }

 private:
  void Add(TSeen seen) {
    const std::lock_guard lock(mutex_);
    ++counts_[seen.id];
    requests_.push_back(std::move(seen));
    changed_.notify_all();
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<TSeen> requests_;
  std::map<std::string, int> counts_;
};

}  // namespace Chaos
