#include "platform/os/Process.h"

#include <pthread.h>

namespace Dova::Os {
namespace {

constinit const TForkedChildStep* newest = nullptr;

void OnForkedChild() {
  Detail::processGeneration.fetch_add(1, std::memory_order_relaxed);
  TForkedChildStep::RunAll();
}

[[maybe_unused]] const int registered = pthread_atfork(nullptr, nullptr, &OnForkedChild);

}  // namespace

namespace Detail {
constinit std::atomic<unsigned> processGeneration{0};
}

TForkedChildStep::TForkedChildStep(TStep step) noexcept : step_(step), next_(newest) {
  newest = this;
}

void TForkedChildStep::RunAll() noexcept {
  for (const TForkedChildStep* each = newest; each; each = each->next_) each->step_();
}

}  // namespace Dova::Os
