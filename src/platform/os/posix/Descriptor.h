#pragma once

#include <atomic>

namespace Dova::Os {

// A descriptor private to this process: a forked child closes its copy first of all. Otherwise a connection
// could outlive its process through a descriptor in a child.
//
// Open and close on one thread at a time; Get is thread-safe.
class TDescriptor {
 public:
  TDescriptor() = default;
  ~TDescriptor() { Close(); }
  TDescriptor(const TDescriptor&) = delete;
  TDescriptor& operator=(const TDescriptor&) = delete;

  // Opens with the function `open` (returns a number, or negative with errno); false on failure. Only if
  // closed.
  template <class TOpen>
  bool Open(const TOpen& open) {
    const TNoFork noFork;
    return Keep(open());
  }

  // Takes over the descriptor of `other`.
  void Take(TDescriptor& other) noexcept;

  void Close() noexcept;

  // Negative if there is none.
  int Get() const noexcept { return number_.load(std::memory_order_relaxed); }

 private:
  struct TNoFork {
    TNoFork() noexcept;
    ~TNoFork();
  };
  friend struct TForkHandlers;

  bool Keep(int number) noexcept;
  int Release() noexcept;

  std::atomic<int> number_{-1};
  TDescriptor* next_ = nullptr;  // in the list of all open descriptors
  TDescriptor** link_ = nullptr;
};

}  // namespace Dova::Os
