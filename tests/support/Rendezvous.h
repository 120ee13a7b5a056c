#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace vektest {

// A barrier for a number of threads, used once. (std::latch loses wake-ups with MinGW's runtime.)
class Rendezvous {
 public:
  explicit Rendezvous(std::size_t threads) : missing_(threads) {}

  void Meet() {
    std::unique_lock lock(mutex_);
    if (--missing_ == 0) all_.notify_all();
    all_.wait(lock, [this] { return missing_ == 0; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable all_;
  std::size_t missing_;
};

}  // namespace vektest
