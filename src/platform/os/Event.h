#pragma once

#include <memory>

namespace Dova::Os {

// Auto-reset event: a Set lets one Wait through, now or later; Sets do not add up.
//
// A thread that waits here keeps answering messages that other threads send to its windows; those calls run
// nested inside Wait. (Messages that were posted stay where they are.)
class TEvent {
 public:
  static constexpr int kForever = -1;

  TEvent();
  ~TEvent();
  TEvent(const TEvent&) = delete;
  TEvent& operator=(const TEvent&) = delete;

  void Set() noexcept;

  // True when set, false when timeoutMs passed first. Zero only looks.
  bool Wait(int timeoutMs = kForever) noexcept;

 private:
  struct TNative;
  std::unique_ptr<TNative> native_;
};

}  // namespace Dova::Os
