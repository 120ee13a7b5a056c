#include "platform/mbus/TThreadTimerQueue.h"

#include <new>
#include <utility>

#include "platform/os/Clock.h"

namespace Dova {
namespace {

constexpr std::int64_t kIdleNs = 5'000'000'000;

}  // namespace

TThreadTimerQueue& TThreadTimerQueue::Instance() noexcept {
  alignas(TThreadTimerQueue) static unsigned char memory[sizeof(TThreadTimerQueue)];
  static TThreadTimerQueue* const instance = ::new (memory) TThreadTimerQueue;
  return *instance;
}

std::int64_t TThreadTimerQueue::NowNs() const noexcept {
  return Os::MonotonicNs();
}

// With the lock held: a leader that has to be woken to take notice; null when there is none, or it is new.
TThreadTimerQueue::TWorkerRef TThreadTimerQueue::AppointLeader() {
  if (leader_) return leader_;
  if (idle_.empty()) return HireLeader();
  leader_ = std::move(idle_.back());
  idle_.pop_back();
  leader_->idle = false;
  return leader_;
}

// When the system has no thread to give, whoever runs an expiry now goes on as the leader; if nobody does,
// the next Start tries again.
TThreadTimerQueue::TWorkerRef TThreadTimerQueue::HireLeader() {
  auto worker = std::make_shared<TWorker>();
  threads_.fetch_add(1);
  const bool started = worker->thread.Start("vek-timer", [this, worker] {
    Work(worker);
    threads_.fetch_sub(1);
  });
  if (started) {
    workers_.push_back(worker);
    leader_ = std::move(worker);
  } else {
    threads_.fetch_sub(1);
  }
  return nullptr;
}

void TThreadTimerQueue::OnSooner(TLock& lock) noexcept {
  const TWorkerRef toWake = AppointLeader();
  lock.unlock();
  if (toWake) toWake->alarm.Wake();
}

void TThreadTimerQueue::Work(const TWorkerRef& self) {
  TLock lock(mutex_);
  while (!self->retired) {
    if (!leader_) leader_ = self;
    if (leader_ == self) {
      Lead(self, lock);
    } else if (!Idle(self, lock)) {
      Leave(self, lock);
      return;
    }
  }
}

void TThreadTimerQueue::Sleep(TWorker& self, TLock& lock, std::int64_t dueNs) {
  lock.unlock();
  self.alarm.WaitUntil(dueNs);
  wakes_.fetch_add(1, std::memory_order_relaxed);
  lock.lock();
}

void TThreadTimerQueue::Lead(const TWorkerRef& self, TLock& lock) {
  TTimerBase* const due = TakeDue(NowNs());
  if (due == nullptr) {
    Sleep(*self, lock, NextLook());
    return;
  }
  leader_.reset();
  // With nothing to wait for nobody need wait; whoever arms a timer meanwhile appoints a leader.
  const TWorkerRef next = NextLook() == kNever ? nullptr : AppointLeader();
  self->busy = true;
  const bool sooner = Run(*due, lock, [&] {
    if (next) next->alarm.Wake();
  });
  self->busy = false;
  if (sooner && leader_) leader_->alarm.Wake();
}

// Waits for work; false when none came for a while.
bool TThreadTimerQueue::Idle(const TWorkerRef& self, TLock& lock) {
  self->idle = true;
  idle_.push_back(self);
  const std::int64_t until = NowNs() + kIdleNs;
  while (self->idle && !self->retired && NowNs() < until) Sleep(*self, lock, until);
  if (!self->idle || self->retired) return true;
  std::erase(idle_, self);
  return false;
}

// Somebody has to join a thread that ends by itself: the next one that does so, or the last timer's
// destructor.
void TThreadTimerQueue::Leave(const TWorkerRef& self, TLock& lock) {
  std::erase(workers_, self);
  Os::TThread before = std::exchange(left_, std::move(self->thread));
  lock.unlock();
  before.Join();
}

void TThreadTimerQueue::OnLastGone(TLock& lock) noexcept {
  const std::vector<TWorkerRef> workers = std::exchange(workers_, {});
  idle_.clear();
  leader_.reset();
  std::vector<Os::TThread> toJoin;
  toJoin.push_back(std::exchange(left_, {}));
  for (const TWorkerRef& worker : workers) {
    worker->retired = true;
    if (worker->busy) {
      // It is inside an expiry that has destroyed its timer, perhaps this one. That code may wait for what
      // our caller holds, so it is left to end by itself.
      worker->thread.Detach();
    } else {
      toJoin.push_back(std::move(worker->thread));
    }
  }
  lock.unlock();
  for (const TWorkerRef& worker : workers) worker->alarm.Wake();
  for (Os::TThread& thread : toJoin) thread.Join();
}

}  // namespace Dova
