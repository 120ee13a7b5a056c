#pragma once

#include <atomic>
#include <cstdint>

#include "platform/os/AnswerWatch.h"
#include "platform/os/Event.h"

namespace Dova {

class TSyncContext;

// One thread's wait for a context; lives on that thread's stack.
//
// The waits of the process know of each other, so that a circle is seen by the thread that is about to close
// it: it wants in where another one is inside that itself sleeps, perhaps by way of more, until this thread
// leaves a context. None of them would ever wake. This thread does not wait then: it takes the place of the
// one inside, which sleeps on until the place is given back.
class TSyncWait final : private Os::TAnswerWatch {
 public:
  TSyncWait(TSyncContext& context, std::uintptr_t thread) noexcept : context_(context), thread_(thread) {}
  ~TSyncWait();
  TSyncWait(const TSyncWait&) = delete;
  TSyncWait& operator=(const TSyncWait&) = delete;

  std::uintptr_t Thread() const noexcept { return thread_; }

  // Whose place this thread has to take, because waiting would close a circle; it has been taken then, and
  // `depth` is the lender's. Null: sleep. From the moment of this answer on the wait counts as sleeping.
  TSyncWait* TakePlace(unsigned& depth) noexcept;

  // Sleeps until woken or for a while; false when nobody woke it.
  bool Sleep() noexcept;
  void Wake() noexcept { event_.Set(); }

  // From the thread that took the place.
  void GiveBack(TSyncContext& context, unsigned depth) noexcept;

  // The context's own, under its mutex:
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
  // Under the list's mutex:
  TSyncWait* nextListed_ = nullptr;
  bool listed_ = false;
  bool answering_ = false;  // awake for a while: nobody takes its places
  unsigned lent_ = 0;       // places that others have taken
};

}  // namespace Dova
