#pragma once

#include <atomic>

namespace Dova::Os {

// A descriptor of this process alone: a forked child closes its copy before it does anything else. A
// connection whose descriptor lived on in a child would outlive the process that it belongs to.
//
// Opening and closing are one thread's at a time; Get may come from any.
class TDescriptor {
 public:
  TDescriptor() = default;
  ~TDescriptor() { Close(); }
  TDescriptor(const TDescriptor&) = delete;
  TDescriptor& operator=(const TDescriptor&) = delete;

  // Opens what `open` opens (a number, or negative with errno); false when that fails. Only when closed.
  template <class TOpen>
  bool Open(const TOpen& open) {
    const TNoFork noFork;
    return Keep(open());
  }

  // Takes over what the other one had.
  void Take(TDescriptor& other) noexcept;

  void Close() noexcept;

  // Negative when there is none.
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
  TDescriptor* next_ = nullptr;  // in the list of all that are open
  TDescriptor** link_ = nullptr;
};

}  // namespace Dova::Os
