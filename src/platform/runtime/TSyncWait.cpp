#include "platform/runtime/TSyncWait.h"

#include <mutex>
#include <new>
#include <utility>

#include "platform/os/Mutex.h"
#include "platform/os/Process.h"
#include "platform/os/Thread.h"
#include "platform/runtime/TSyncContext.h"

namespace Dova {
namespace {

// How often a sleeping thread checks whether process shutdown has killed the thread it waits for.
constexpr int kExitCheckMs = 200;

}  // namespace

// All waits of the process. Invariant: a sleeping thread keeps its places, so if a chain of sleeping threads
// ends at the thread that asks, no thread in the chain can move.
struct TSyncWait::TList {
  Os::TMutex mutex;  // lock order: before a context's mutex
  TSyncWait* first = nullptr;

  static TList instance;
  static TList& Of() noexcept { return instance; }

  // In a forked child the listed threads do not exist, and one of them may have held the mutex.
  static const Os::TForkedChildStep forgetParent;

  void Add(TSyncWait& wait) noexcept {
    wait.nextListed_ = std::exchange(first, &wait);
    wait.listed_ = true;
  }

  void Remove(TSyncWait& wait) noexcept {
    if (!std::exchange(wait.listed_, false)) return;
    TSyncWait** at = &first;
    while (*at && *at != &wait) at = &(*at)->nextListed_;
    if (*at) *at = wait.nextListed_;  // absent if it was listed before a fork
  }

  // The wait a thread sleeps in; null if it is awake.
  TSyncWait* Sleeping(std::uintptr_t thread) const noexcept {
    TSyncWait* wait = first;
    while (wait && (wait->thread_ != thread || wait->answering_)) wait = wait->nextListed_;
    return wait;
  }
};

// Trivially destructible: clients may outlive the destruction of statics.
constinit TSyncWait::TList TSyncWait::TList::instance;
const Os::TForkedChildStep TSyncWait::TList::forgetParent([]() noexcept { ::new (&instance) TList; });

TSyncWait::~TSyncWait() {
  TList& list = TList::Of();
  std::unique_lock lock(list.mutex);
  // Awake or not: while another thread has this thread's place, this one must not continue.
  while (lent_ != 0 && !Os::ProcessIsExiting() && !context_.IsInherited()) {
    lock.unlock();
    Sleep();
    lock.lock();
  }
  list.Remove(*this);
}

bool TSyncWait::Sleep() noexcept {
  TAnswerWatch* const outer = TAnswerWatch::Set(this);
  const bool woken = event_.Wait(kExitCheckMs);
  TAnswerWatch::Set(outer);
  return woken;
}

void TSyncWait::BeforeAnswer() noexcept {
  const std::lock_guard lock(TList::Of().mutex);
  answering_ = true;
}

// The messages answered may have created a cycle through this thread: check again.
void TSyncWait::AfterAnswer() noexcept {
  const std::lock_guard lock(TList::Of().mutex);
  answering_ = false;
  Wake();
}

TSyncWait* TSyncWait::TakePlace(unsigned& depth) noexcept {
  TList& list = TList::Of();
  const std::lock_guard lock(list.mutex);
  const std::uintptr_t owner = context_.Owner();
  TSyncWait* const holder = owner == thread_ ? nullptr : list.Sleeping(owner);
  if (holder && holder->EndsAt(*this)) {
    list.Remove(*this);
    depth = context_.PassOn(thread_, 1);
    ++holder->lent_;
    return holder;
  }
  if (!listed_) list.Add(*this);
  return nullptr;
}

// With the list's mutex held: true if this thread sleeps, directly or through others, for a context that
// `asker`'s thread is inside. A wait granted to its own thread is over. So is a wait for the asker's own
// context: the thread inside has just left it, possibly to the asker.
bool TSyncWait::EndsAt(const TSyncWait& asker) const noexcept {
  const TList& list = TList::Of();
  for (const TSyncWait* wait = this; wait; wait = list.Sleeping(wait->context_.Owner())) {
    const std::uintptr_t owner = wait->context_.Owner();
    if (owner == wait->thread_ || &wait->context_ == &asker.context_) return false;
    if (owner == asker.thread_) return true;
  }
  return false;
}

void TSyncWait::GiveBack(TSyncContext& context, unsigned depth) noexcept {
  {
    const std::lock_guard lock(TList::Of().mutex);
    context.PassOn(thread_, depth);
    if (--lent_ == 0) Wake();
  }
  // The thread may want to enter further up its stack, from a message it answered: it is inside again.
  context.Kick();
}

}  // namespace Dova
