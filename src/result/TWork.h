// Cancellation of long work: the caller reports how many bytes it has read, and learns whether to stop.
#pragma once

#include <atomic>
#include <cstddef>

namespace VekApi {

class TWork {
 public:
  static constexpr std::size_t kPiece = 64 * 1024;  // bytes between two checks, far less than a millisecond
  static inline const std::atomic<bool> kNever{false};

  TWork() : TWork(kNever) {}
  explicit TWork(const std::atomic<bool>& over) : over_(over), stopped_(over) {}

  // True if the work is to stop. Once true, it stays true.
  bool Spend(std::size_t bytes) {
    if (bytes < left_) {
      left_ -= bytes;
      return stopped_;
    }
    left_ = kPiece;
    return stopped_ = stopped_ || over_.load(std::memory_order_relaxed);
  }

  bool Stopped() const { return stopped_; }

 private:
  const std::atomic<bool>& over_;
  std::size_t left_ = kPiece;
  bool stopped_;
};

}  // namespace VekApi
