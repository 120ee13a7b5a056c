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

// Serialises the events of one session. Threads that raise an event, open or close enter it through a
// TSyncScope, one at a time. Recursive. FIFO: a thread that wants to disconnect is not starved by a link that
// streams.
//
// Entering fails for every thread once the context was aborted (the session is being deleted), in a forked
// child that inherited it, and for a caller whose `cancelled` flag is set (its messenger is being closed by
// the thread inside). So a thread inside may wait for threads that wait to enter.
//
// A wait that would close a cycle of waiting threads is not performed: the thread enters as if called from
// inside the event that is running there (TSyncWait). So a thread that waits here while inside another
// context may find, after waking up, that its work there has been overtaken.
//
// A thread that waits to enter keeps answering messages sent to its windows.
class TSyncContext : public Dstl::ref_counter<unsigned> {
 public:
  // Makes waiting threads check their `cancelled` flags.
  void Kick() noexcept;

  // From inside: no thread enters any more, except this one recursively.
  void Abort() noexcept;

  // True in a process forked from the one that created the context: the thread inside does not exist here. No
  // thread enters.
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
  std::atomic<unsigned> waiting_{0};  // number of waiting threads, readable without the mutex
  Os::TMutex mutex_;
  TSyncWait* firstWaiting_ = nullptr;
};

// For a thread called by another thread that is inside and waits for the call. It takes that thread's place
// for a scope, with its own depth, so it may enter, close and abort. The lender is idle meanwhile, so there
// is still only one thread inside. Threads waiting to enter keep waiting, possibly including the calling
// thread further down its stack.
//
// The call and its return must synchronise the two threads.
class TSyncContext::TAdopt {
 public:
  // Does nothing for a null context, if `lender` (a CurrentThreadToken) is not inside, or if it is the
  // calling thread.
  TAdopt(Dstl::wise_ref<TSyncContext> context, std::uintptr_t lender) noexcept;
  ~TAdopt();
  TAdopt(const TAdopt&) = delete;
  TAdopt& operator=(const TAdopt&) = delete;

 private:
  Dstl::wise_ref<TSyncContext> context_;
  std::uintptr_t lender_;
  unsigned depth_ = 0;  // the lender's
};

// Inside a context for its lifetime, if entering succeeded. Keeps the context alive.
class TSyncScope {
 public:
  // Waits until no other thread is inside. Not inside if aborted or cancelled. `cancelled` is checked when
  // the wait begins, when it ends, and at every Kick.
  explicit TSyncScope(Dstl::wise_ref<TSyncContext> context,
                      const std::atomic<bool>* cancelled = nullptr) noexcept
      : context_(std::move(context)), inside_(context_->Enter(*this, cancelled)) {}

  // Does not wait: not inside if another thread is.
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
  TSyncWait* lender_ = nullptr;  // owner of the place taken
  unsigned lenderDepth_ = 0;
  bool inside_;
};

}  // namespace Dova
