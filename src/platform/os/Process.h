#pragma once

#include <atomic>

namespace Dova::Os {

namespace Detail {
extern std::atomic<unsigned> processGeneration;
}

// 0 in the process that was started, and one more in each process forked from one: what was made in another
// generation belongs to threads that do not exist here. On Windows always 0.
inline unsigned ProcessGeneration() noexcept {
  return Detail::processGeneration.load(std::memory_order_relaxed);
}

// Something that every forked child does before its only thread goes on; when it runs, ProcessGeneration has
// grown already. It needs neither memory nor locks. For objects at namespace scope only.
class TForkedChildStep {
 public:
  using TStep = void (*)() noexcept;

  explicit TForkedChildStep(TStep step) noexcept;
  TForkedChildStep(const TForkedChildStep&) = delete;
  TForkedChildStep& operator=(const TForkedChildStep&) = delete;

  static void RunAll() noexcept;  // the fork handler's

 private:
  const TStep step_;
  const TForkedChildStep* const next_;
};

}  // namespace Dova::Os
