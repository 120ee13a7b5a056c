#include "platform/runtime/TTimerBase.h"

#include "platform/os/FineTick.h"
#include "platform/runtime/TTimerQueue.h"

namespace Dova {

TTimerBase::TTimerBase(TOnTimerStyle /*style*/) : queue_(TTimerQueue::Current()) {
  Os::PrepareFineTick();
  queue_.Attach();
}

TTimerBase::~TTimerBase() {
  Close();
}

void TTimerBase::Start(unsigned ms) noexcept {
  const Os::TTime due = queue_.Now() + std::chrono::milliseconds(ms);
  due_.store(due);
  if (queued_.load() > due || queue_.LacksThread()) queue_.Arm(*this);
}

void TTimerBase::Postpone(unsigned ms) noexcept {
  const std::int64_t tick = queue_.Tick();
  const bool isNew = postponedTick_.load(std::memory_order_relaxed) != tick;
  if (!isNew && due_.load(std::memory_order_relaxed) != Os::kNever) return;
  Start(ms + queue_.TickMs());
  postponedTick_.store(tick, std::memory_order_relaxed);
}

void TTimerBase::Close() noexcept {
  if (closed_) return;
  closed_ = true;
  queue_.Detach(*this);
}

}  // namespace Dova
