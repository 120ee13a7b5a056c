#include "platform/runtime/TTimerBase.h"

#include "platform/runtime/TTimerQueue.h"

namespace Dova {
namespace {

constexpr std::int64_t kNsPerMs = 1'000'000;

}  // namespace

TTimerBase::TTimerBase(TOnTimerStyle /*style*/) : queue_(TTimerQueue::Current()) {
  queue_.Attach();
}

TTimerBase::~TTimerBase() {
  Close();
}

void TTimerBase::Start(unsigned ms) noexcept {
  const std::int64_t due = queue_.NowNs() + std::int64_t{ms} * kNsPerMs;
  due_.store(due);
  if (queued_.load() > due || queue_.LacksThread()) queue_.Arm(*this);
}

void TTimerBase::Close() noexcept {
  if (closed_) return;
  closed_ = true;
  queue_.Detach(*this);
}

}  // namespace Dova
