#include "platform/mbus/TSyncContext.h"

#include <algorithm>
#include <utility>

#include "platform/os/Event.h"
#include "platform/os/Thread.h"

namespace Dova {

struct TSyncContext::TWaiter {
  std::uintptr_t thread;
  Os::TEvent event;
  bool granted = false;
};

namespace {
// How often a waiting thread looks whether the one inside was killed by the end of the process.
constexpr int kExitCheckMs = 200;

bool IsSet(const std::atomic<bool>* flag) {
  return flag && flag->load(std::memory_order_acquire);
}
}  // namespace

bool TSyncContext::IsInside() const noexcept {
  return owner_.load(std::memory_order_relaxed) == Os::CurrentThreadToken();
}

bool TSyncContext::Enter(const std::atomic<bool>* cancelled) noexcept {
  const std::uintptr_t me = Os::CurrentThreadToken();
  return Take(me) ? StayIn(cancelled) : EnterSlow(me, cancelled);
}

bool TSyncContext::TryEnter() noexcept {
  return Take(Os::CurrentThreadToken()) && StayIn(nullptr);
}

bool TSyncContext::Take(std::uintptr_t me) noexcept {
  if (owner_.load(std::memory_order_relaxed) != me) {
    std::uintptr_t nobody = 0;
    if (!owner_.compare_exchange_strong(nobody, me)) return false;
    depth_ = 0;
  }
  ++depth_;
  return true;
}

// Just came in: leave again when nobody wants us here. A thread that was inside already stays.
bool TSyncContext::StayIn(const std::atomic<bool>* cancelled) noexcept {
  if (depth_ > 1) return true;
  if (!aborted_.load(std::memory_order_acquire) && !IsSet(cancelled)) return true;
  Leave();
  return false;
}

bool TSyncContext::EnterSlow(std::uintptr_t me, const std::atomic<bool>* cancelled) noexcept {
  TWaiter waiter{me, {}, false};
  {
    const std::lock_guard lock(mutex_);
    waiters_.push_back(&waiter);
    // Announced before the look at owner_; Leave clears owner_ before it looks at waiting_. One of the two
    // sees it.
    waiting_.fetch_add(1);
    GrantNext(lock);
  }
  // The first look comes before the first wait: a Kick from before this thread was in the list is not
  // repeated.
  for (bool woken = true;; woken = waiter.event.Wait(kExitCheckMs)) {
    const std::lock_guard lock(mutex_);
    if (waiter.granted) break;
    const bool dead = !woken && Os::ProcessIsExiting();
    if (dead || aborted_.load() || IsSet(cancelled)) {
      GiveUp(waiter, lock);
      return false;
    }
  }
  return StayIn(cancelled);
}

void TSyncContext::GiveUp(TWaiter& waiter, const std::lock_guard<std::mutex>&) noexcept {
  waiters_.erase(std::find(waiters_.begin(), waiters_.end(), &waiter));
  waiting_.fetch_sub(1);
}

void TSyncContext::GrantNext(const std::lock_guard<std::mutex>&) noexcept {
  if (waiters_.empty()) return;
  TWaiter& next = *waiters_.front();
  std::uintptr_t nobody = 0;
  if (!owner_.compare_exchange_strong(nobody, next.thread)) return;
  depth_ = 1;
  waiters_.pop_front();
  waiting_.fetch_sub(1);
  next.granted = true;
  next.event.Set();
}

void TSyncContext::Leave() noexcept {
  if (--depth_ != 0) return;
  owner_.store(0);
  if (waiting_.load() == 0) return;
  const std::lock_guard lock(mutex_);
  GrantNext(lock);
}

void TSyncContext::Kick() noexcept {
  const std::lock_guard lock(mutex_);
  for (TWaiter* waiter : waiters_) waiter->event.Set();
}

void TSyncContext::Abort() noexcept {
  aborted_.store(true);
  Kick();
}

// The depth starts at one, so that no Leave of this thread's lets anybody in.
TSyncContext::TAdopt::TAdopt(Dstl::wise_ref<TSyncContext> context, std::uintptr_t lender) noexcept
    : context_(std::move(context)), lender_(lender) {
  const std::uintptr_t me = Os::CurrentThreadToken();
  if (!context_ || lender == me || context_->owner_.load() != lender) {
    context_.reset();
    return;
  }
  depth_ = std::exchange(context_->depth_, 1);
  context_->owner_.store(me);
}

TSyncContext::TAdopt::~TAdopt() {
  if (!context_) return;
  context_->depth_ = depth_;
  context_->owner_.store(lender_);
}

}  // namespace Dova
