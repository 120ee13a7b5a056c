#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <utility>

#include "platform/os/Mutex.h"
#include "platform/os/Process.h"
#include "platform/runtime/Ref.h"
#include "platform/runtime/TSyncWait.h"

namespace Dova {

class TSyncScope;

// The place where one session's events happen: whoever raises one, opens or closes does it inside, one thread
// at a time, through a TSyncScope. Recursive. First come, first served: a thread that asks for Disconnect is
// not starved by a link that streams.
//
// Entering can fail: for everybody once the context was aborted (the session is being deleted), in a forked
// child that inherited it, and for a
// caller whose own `cancelled` flag is set (its messenger is being closed by the thread that is inside). So a
// thread inside may wait for threads that wait to enter.
//
// A wait that would close a circle of waiting threads is not waited: the thread goes in as if it were called
// from inside the event that stands there (TSyncWait). Whoever waits here while it is inside another context
// may therefore find, when it wakes, that what it was doing there has been overtaken.
//
// A thread that waits to enter keeps answering messages that are sent to its windows.
class TSyncContext : public Dstl::ref_counter<unsigned> {
 public:
  // Lets waiting threads look at their flags.
  void Kick() noexcept;

  // From inside: nobody enters any more, except this thread recursively.
  void Abort() noexcept;

  bool IsInside() const noexcept;

  // True in a process forked from the one that made the context: whoever was inside is not here. Nobody
  // enters.
  bool IsInherited() const noexcept { return generation_ != Os::ProcessGeneration(); }

  class TAdopt;

 private:
  friend class TSyncScope;
  friend class TSyncWait;
  enum class EWait { Over, GivenUp, GoesOn };

  std::uintptr_t Owner() const noexcept { return owner_.load(); }
  unsigned PassOn(std::uintptr_t to, unsigned depth) noexcept;

  bool Enter(TSyncScope& scope, const std::atomic<bool>* cancelled) noexcept;
  bool TryEnter() noexcept;
  void Leave() noexcept;

  bool Take(std::uintptr_t me) noexcept;
  bool EnterSlow(TSyncScope& scope, std::uintptr_t me, const std::atomic<bool>* cancelled) noexcept;
  bool StayIn(const std::atomic<bool>* cancelled) noexcept;
  void Queue(TSyncWait& wait) noexcept;
  EWait Look(TSyncWait& wait, bool woken, const std::atomic<bool>* cancelled) noexcept;
  void Unqueue(TSyncWait& wait, const std::lock_guard<Os::TMutex>&) noexcept;
  void GrantNext(const std::lock_guard<Os::TMutex>&) noexcept;

  const unsigned generation_ = Os::ProcessGeneration();
  std::atomic<std::uintptr_t> owner_{0};
  unsigned depth_ = 0;  // the owner's
  std::atomic<bool> aborted_{false};
  std::atomic<unsigned> waiting_{0};  // how many wait, readable without the mutex
  Os::TMutex mutex_;
  TSyncWait* firstWaiting_ = nullptr;
};

// For a thread that is called by one that is inside and waits for it: it stands in for that one for a scope,
// with a depth of its own, so it may enter, close what is open and abort. As the other does nothing
// meanwhile, there is still only one inside. Whoever has been waiting to enter, perhaps the calling thread
// itself further down its stack, keeps waiting.
//
// The call and its return must be visible as synchronisation between the two threads.
class TSyncContext::TAdopt {
 public:
  // Nothing for a null context, when `lender` (a CurrentThreadToken) is not inside, or is the calling thread.
  TAdopt(Dstl::wise_ref<TSyncContext> context, std::uintptr_t lender) noexcept;
  ~TAdopt();
  TAdopt(const TAdopt&) = delete;
  TAdopt& operator=(const TAdopt&) = delete;

 private:
  Dstl::wise_ref<TSyncContext> context_;
  std::uintptr_t lender_;
  unsigned depth_ = 0;  // the lender's
};

// Inside a context for a scope, when it could be entered. Keeps the context alive.
class TSyncScope {
 public:
  // Waits until nobody else is inside. False when aborted or cancelled; then it is not inside. `cancelled` is
  // looked at when the wait begins, when it ends, and at every Kick.
  explicit TSyncScope(Dstl::wise_ref<TSyncContext> context,
                      const std::atomic<bool>* cancelled = nullptr) noexcept
      : context_(std::move(context)), inside_(context_->Enter(*this, cancelled)) {}

  // Without waiting: not inside, either, when somebody else is.
  TSyncScope(Dstl::wise_ref<TSyncContext> context, std::try_to_lock_t) noexcept
      : context_(std::move(context)), inside_(context_->TryEnter()) {}

  ~TSyncScope() {
    if (lender_) {
      lender_->GiveBack(*context_, lenderDepth_);
    } else if (inside_) {
      context_->Leave();
    }
  }
  TSyncScope(const TSyncScope&) = delete;
  TSyncScope& operator=(const TSyncScope&) = delete;

  explicit operator bool() const noexcept { return inside_; }

 private:
  friend class TSyncContext;

  Dstl::wise_ref<TSyncContext> context_;
  TSyncWait* lender_ = nullptr;  // whose place this is
  unsigned lenderDepth_ = 0;
  bool inside_;
};

}  // namespace Dova
