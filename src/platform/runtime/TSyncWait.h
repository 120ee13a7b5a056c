#pragma once

#include <atomic>
#include <cstdint>

#include "platform/os/AnswerWatch.h"
#include "platform/os/Event.h"

namespace Dova {

class TSyncContext;

// One thread's wait for a context; lives on that thread's stack.
//
// The waits of the process are linked, so a thread about to close a cycle detects it: the thread inside the
// wanted context sleeps, directly or through others, until this thread leaves a context. All of them would
// deadlock. Instead of waiting, this thread takes the place of the one inside, which sleeps until the place
// is given back.
class TSyncWait final : private Os::TAnswerWatch {
 public:
  TSyncWait(TSyncContext& context, std::uintptr_t thread) noexcept : context_(context), thread_(thread) {}
  ~TSyncWait();
  TSyncWait(const TSyncWait&) = delete;
  TSyncWait& operator=(const TSyncWait&) = delete;

  std::uintptr_t Thread() const noexcept { return thread_; }

  // If waiting would close a cycle, takes a place, returns the wait it was taken from and sets `depth` to the
  // lender's. Otherwise null: the caller must sleep, and the wait counts as sleeping from now on.
  TSyncWait* TakePlace(unsigned& depth) noexcept;

  // Sleeps until woken or for a limited time; false if not woken.
  bool Sleep() noexcept;
  void Wake() noexcept { event_.Set(); }

  // Called by the thread that took the place.
  void GiveBack(TSyncContext& context, unsigned depth) noexcept;

  // Used by the context, under its mutex:
  bool granted = false;
  TSyncWait* next = nullptr;

 private:
  struct TList;

  void BeforeAnswer() noexcept override;
  void AfterAnswer() noexcept override;
  bool EndsAt(const TSyncWait& asker) const noexcept;

  TSyncContext& context_;
  const std::uintptr_t thread_;
  Os::TEvent event_;
  // Guarded by the list's mutex:
  TSyncWait* nextListed_ = nullptr;
  bool listed_ = false;
  bool answering_ = false;  // temporarily awake: its places cannot be taken
  unsigned lent_ = 0;       // places taken by other threads
};

}  // namespace Dova
