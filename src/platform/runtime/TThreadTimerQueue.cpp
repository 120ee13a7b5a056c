#include "platform/runtime/TThreadTimerQueue.h"

#include <algorithm>
#include <mutex>
#include <new>
#include <utility>

#include "platform/os/Clock.h"

namespace Dova {
namespace {

constexpr std::chrono::seconds kIdle(5);

}  // namespace

union TThreadTimerQueue::TStorage {
  constexpr TStorage() : queue() {}
  ~TStorage() {}
  TThreadTimerQueue queue;
};

constinit TThreadTimerQueue::TStorage TThreadTimerQueue::storage;

TThreadTimerQueue& TThreadTimerQueue::Instance() noexcept {
  return storage.queue;
}

// The parent's queue is abandoned: its threads do not exist here, and one of them may hold its lock.
void TThreadTimerQueue::ForgetParent() noexcept {
  static_cast<void>(::new (&storage.queue) TThreadTimerQueue);
}

const Os::TForkedChildStep TThreadTimerQueue::forgetParent(&TThreadTimerQueue::ForgetParent);

Os::TTime TThreadTimerQueue::Now() const noexcept {
  return Os::TClock::now();
}

bool TThreadTimerQueue::IsStuck() noexcept {
  if (!LacksThread()) return false;
  const TLock lock(mutex_);
  return LacksThread() && !helper_;
}

bool TThreadTimerQueue::AskForThread() noexcept {
  TThreadTimerQueue& queue = Instance();
  if (!queue.LacksThread()) return false;
  TLock lock(queue.mutex_);
  queue.OnSooner(lock);
  return queue.LacksThread();
}

TThreadTimerQueue::THelper::THelper(Os::TMessageLoop& loop) noexcept : loop_(loop) {
  const std::lock_guard lock(Instance().mutex_);
  Instance().helper_ = &loop_;
}

// The next core thread may already have installed its helper.
TThreadTimerQueue::THelper::~THelper() {
  const std::lock_guard lock(Instance().mutex_);
  if (Instance().helper_ == &loop_) Instance().helper_ = nullptr;
}

// With the lock held: returns a leader that must be woken; null if there is none, or it is new.
TThreadTimerQueue::TWorkerRef TThreadTimerQueue::AppointLeader() noexcept {
  if (!leader_) {
    const auto idle = std::find_if(workers_.rbegin(), workers_.rend(), [](auto& each) { return each->idle; });
    if (idle == workers_.rend()) {
      SetLacksThread(!HireLeader());
      if (LacksThread() && helper_) helper_->Wake();
      return nullptr;
    }
    leader_ = *idle;
    leader_->idle = false;
  }
  SetLacksThread(false);
  return leader_;
}

bool TThreadTimerQueue::HireLeader() noexcept try {
  workers_.reserve(workers_.size() + 1);
  auto worker = std::make_shared<TWorker>();
  if (!StartWorker(worker)) return false;
  workers_.push_back(worker);
  leader_ = std::move(worker);
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

bool TThreadTimerQueue::StartWorker(const TWorkerRef& worker) {
  std::function<void()> body = [this, worker] { Work(worker); };
  threads_.fetch_add(1);
  if (worker->thread.Start("vek-timer", std::move(body))) return true;
  threads_.fetch_sub(1);
  return false;
}

void TThreadTimerQueue::OnSooner(TLock& lock) noexcept {
  const TWorkerRef toWake = AppointLeader();
  lock.unlock();
  if (toWake) toWake->alarm.Wake();
}

// A worker's stay in the queue. It may end inside an expiry, if the thread exits there (pthread_exit) or
// forks: in the child only this thread exists, and the queue is no longer its own.
class TThreadTimerQueue::TStay {
 public:
  TStay(TThreadTimerQueue& queue, TWorker& worker) : queue_(queue), worker_(worker), lock(queue.mutex_) {}
  ~TStay() {
    if (generation_ != Os::ProcessGeneration()) return;
    if (lock.owns_lock() && !worker_.retired) {
      std::erase_if(queue_.workers_, [this](auto& each) { return each.get() == &worker_; });
      worker_.thread.Detach();
      // The expired timer may have been restarted in its expiry while there was no other worker.
      if (queue_.NextLook() != Os::kNever) queue_.AppointLeader();
    }
    queue_.threads_.fetch_sub(1);
  }
  TStay(const TStay&) = delete;
  TStay& operator=(const TStay&) = delete;

 private:
  TThreadTimerQueue& queue_;
  TWorker& worker_;
  const unsigned generation_ = Os::ProcessGeneration();

 public:
  TLock lock;
};

void TThreadTimerQueue::Work(const TWorkerRef& self) {
  TStay stay(*this, *self);
  TLock& lock = stay.lock;
  while (lock.owns_lock() && !self->retired) {
    if (!leader_) leader_ = self;
    if (leader_ == self) {
      Lead(self, lock);
    } else if (!Idle(*self, lock)) {
      Leave(self, lock);
    }
  }
}

void TThreadTimerQueue::Sleep(TWorker& self, TLock& lock, Os::TTime due) {
  lock.unlock();
  self.alarm.WaitUntil(due);
  wakes_.fetch_add(1, std::memory_order_relaxed);
  lock.lock();
}

void TThreadTimerQueue::Lead(const TWorkerRef& self, TLock& lock) {
  SetLacksThread(false);
  TTimerBase* const due = TakeDue(Now());
  if (due == nullptr) {
    Sleep(*self, lock, NextLook());
    return;
  }
  leader_.reset();
  // Without pending timers no thread needs to wait; the next Start appoints a leader.
  const TWorkerRef next = NextLook() == Os::kNever ? nullptr : AppointLeader();
  self->busy = true;
  const bool sooner = Run(*due, lock, [&] {
    if (next) next->alarm.Wake();
  });
  if (!lock.owns_lock()) return;
  self->busy = false;
  if (sooner && leader_) leader_->alarm.Wake();
}

// Waits for work; false if none arrived for a while.
bool TThreadTimerQueue::Idle(TWorker& self, TLock& lock) {
  self.idle = true;
  const Os::TTime until = Now() + kIdle;
  while (self.idle && !self.retired && Now() < until) Sleep(self, lock, until);
  if (!self.idle || self.retired) return true;
  self.idle = false;
  return false;
}

// A thread that ends by itself must be joined: by the next one that does so, or by the last timer's
// destructor.
void TThreadTimerQueue::Leave(const TWorkerRef& self, TLock& lock) {
  std::erase(workers_, self);
  Os::TThread before = std::exchange(left_, std::move(self->thread));
  lock.unlock();
  before.Join();
}

void TThreadTimerQueue::OnLastGone(TLock& lock) noexcept {
  const std::vector<TWorkerRef> workers = std::exchange(workers_, {});
  Os::TThread left = std::exchange(left_, {});
  leader_.reset();
  SetLacksThread(false);
  const bool unloading = Os::HoldsLoaderLock();
  if (unloading) left.Detach();
  for (const TWorkerRef& worker : workers) {
    worker->retired = true;
    // The worker is inside an expiry that destroyed its timer, perhaps this one. That code may wait for
    // something our caller holds, so the thread is detached.
    if (worker->busy || unloading) worker->thread.Detach();
  }
  lock.unlock();
  for (const TWorkerRef& worker : workers) worker->alarm.Wake();
  for (const TWorkerRef& worker : workers) worker->thread.Join();
  left.Join();
}

}  // namespace Dova
