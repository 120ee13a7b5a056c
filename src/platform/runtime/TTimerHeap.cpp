#include "platform/runtime/TTimerHeap.h"

namespace Dova {

bool TTimerHeap::Before(const TTimerBase* left, const TTimerBase* right) noexcept {
  const Os::TTime leftKey = Key(left);
  const Os::TTime rightKey = Key(right);
  return leftKey != rightKey ? leftKey < rightKey : left->sequence_ < right->sequence_;
}

void TTimerHeap::SetAt(std::size_t index, TTimerBase* timer) noexcept {
  timers_[index] = timer;
  timer->heapIndex_ = index;
}

void TTimerHeap::SiftUp(std::size_t index) noexcept {
  TTimerBase* const timer = timers_[index];
  while (index > 0) {
    const std::size_t parent = (index - 1) / 2;
    if (!Before(timer, timers_[parent])) break;
    SetAt(index, timers_[parent]);
    index = parent;
  }
  SetAt(index, timer);
}

void TTimerHeap::SiftDown(std::size_t index) noexcept {
  TTimerBase* const timer = timers_[index];
  for (;;) {
    std::size_t child = 2 * index + 1;
    if (child >= timers_.size()) break;
    if (child + 1 < timers_.size() && Before(timers_[child + 1], timers_[child])) ++child;
    if (!Before(timers_[child], timer)) break;
    SetAt(index, timers_[child]);
    index = child;
  }
  SetAt(index, timer);
}

void TTimerHeap::Put(TTimerBase& timer, Os::TTime key) noexcept {
  timer.queued_.store(key);
  timer.sequence_ = sequence_++;
  if (!Holds(timer)) {
    timer.heapIndex_ = timers_.size();
    timers_.push_back(&timer);
  }
  SiftUp(timer.heapIndex_);
  SiftDown(timer.heapIndex_);
}

void TTimerHeap::Remove(TTimerBase& timer) noexcept {
  const std::size_t index = timer.heapIndex_;
  TTimerBase* const last = timers_.back();
  timers_.pop_back();
  timer.heapIndex_ = TTimerBase::kNowhere;
  timer.queued_.store(Os::kNever);
  if (last == &timer) return;
  SetAt(index, last);
  SiftUp(index);
  SiftDown(last->heapIndex_);
}

}  // namespace Dova
