#include "platform/runtime/TSyncContext.h"

#include "platform/os/Thread.h"

namespace Dova {
namespace {

bool IsSet(const std::atomic<bool>* flag) {
  return flag && flag->load(std::memory_order_acquire);
}

}  // namespace

bool TSyncContext::Enter(TSyncScope& scope, const std::atomic<bool>* cancelled) noexcept {
  if (IsInherited()) return false;
  const std::uintptr_t me = Os::CurrentThreadToken();
  return Take(me) ? StayIn(cancelled) : EnterSlow(scope, me, cancelled);
}

bool TSyncContext::TryEnter() noexcept {
  return !IsInherited() && Take(Os::CurrentThreadToken()) && StayIn(nullptr);
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

// After entering: leaves again if the context was aborted or the caller cancelled. A thread that was already
// inside stays.
bool TSyncContext::StayIn(const std::atomic<bool>* cancelled) noexcept {
  if (depth_ > 1) return true;
  if (!aborted_.load(std::memory_order_acquire) && !IsSet(cancelled)) return true;
  Leave();
  return false;
}

bool TSyncContext::EnterSlow(TSyncScope& scope, std::uintptr_t me,
                             const std::atomic<bool>* cancelled) noexcept {
  TSyncWait wait(*this, me);
  Queue(wait);
  // Check before the first sleep: a Kick from before this thread was queued is not repeated.
  for (bool woken = true;; woken = wait.Sleep()) {
    const EWait now = Look(wait, woken, cancelled);
    if (now == EWait::Over) return StayIn(cancelled);
    if (now == EWait::GivenUp) return false;
    scope.lender_ = wait.TakePlace(scope.lenderDepth_);
    if (!scope.lender_) continue;
    const std::lock_guard lock(mutex_);
    Unqueue(wait, lock);
    return true;
  }
}

void TSyncContext::Queue(TSyncWait& wait) noexcept {
  const std::lock_guard lock(mutex_);
  TSyncWait** last = &firstWaiting_;
  while (*last) last = &(*last)->next;
  *last = &wait;
  // Incremented before owner_ is checked; Leave clears owner_ before it checks waiting_. So one of the two
  // threads sees the other.
  waiting_.fetch_add(1);
  GrantNext(lock);
}

TSyncContext::EWait TSyncContext::Look(TSyncWait& wait, bool woken,
                                       const std::atomic<bool>* cancelled) noexcept {
  const std::lock_guard lock(mutex_);
  if (wait.granted) return EWait::Over;
  const bool insideAgain = owner_.load() == wait.Thread();
  const bool dead = !woken && Os::ProcessIsExiting();
  if (!insideAgain && !dead && !aborted_.load() && !IsSet(cancelled)) return EWait::GoesOn;
  Unqueue(wait, lock);
  if (!insideAgain) return EWait::GivenUp;
  ++depth_;
  return EWait::Over;
}

void TSyncContext::Unqueue(TSyncWait& wait, const std::lock_guard<Os::TMutex>&) noexcept {
  TSyncWait** at = &firstWaiting_;
  while (*at != &wait) at = &(*at)->next;
  *at = wait.next;
  waiting_.fetch_sub(1);
}

void TSyncContext::GrantNext(const std::lock_guard<Os::TMutex>& lock) noexcept {
  if (!firstWaiting_) return;
  TSyncWait& next = *firstWaiting_;
  std::uintptr_t nobody = 0;
  if (!owner_.compare_exchange_strong(nobody, next.Thread())) return;
  depth_ = 1;
  Unqueue(next, lock);
  next.granted = true;
  next.Wake();
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
  for (TSyncWait* wait = firstWaiting_; wait; wait = wait->next) wait->Wake();
}

void TSyncContext::Abort() noexcept {
  aborted_.store(true);
  Kick();
}

// Returns the previous depth. Only while the thread inside is idle: it sleeps in a wait, or is giving the
// place back.
unsigned TSyncContext::PassOn(std::uintptr_t to, unsigned depth) noexcept {
  const unsigned before = std::exchange(depth_, depth);
  owner_.store(to);
  return before;
}

// The depth starts at one, so no Leave of this thread releases the context.
TSyncContext::TAdopt::TAdopt(Dstl::wise_ref<TSyncContext> context, std::uintptr_t lender) noexcept
    : context_(std::move(context)), lender_(lender) {
  const std::uintptr_t me = Os::CurrentThreadToken();
  if (!context_ || lender == me || context_->owner_.load() != lender) {
    context_.reset();
    return;
  }
  depth_ = context_->PassOn(me, 1);
}

TSyncContext::TAdopt::~TAdopt() {
  if (context_) context_->PassOn(lender_, depth_);
}

}  // namespace Dova
