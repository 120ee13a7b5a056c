#pragma once

#include <atomic>

namespace Dova::Os {

namespace Detail {
extern std::atomic<unsigned> processGeneration;
}

// 0 in the original process, incremented in each forked child: objects of another generation belong to
// threads that do not exist here. Always 0 on Windows.
inline unsigned ProcessGeneration() noexcept {
  return Detail::processGeneration.load(std::memory_order_relaxed);
}

// A step that every forked child performs before its only thread continues. ProcessGeneration has been
// incremented by then. The step must not need memory or locks. For objects at namespace scope only.
class TForkedChildStep {
 public:
  using TStep = void (*)() noexcept;

  explicit TForkedChildStep(TStep step) noexcept;
  TForkedChildStep(const TForkedChildStep&) = delete;
  TForkedChildStep& operator=(const TForkedChildStep&) = delete;

  static void RunAll() noexcept;  // called by the fork handler

 private:
  const TStep step_;
  const TForkedChildStep* const next_;
};

}  // namespace Dova::Os
