// Simulates a system short of threads or memory.
#pragma once

#include <atomic>

#include "platform/os/Event.h"

namespace TestSupport {

// While true, the library cannot start threads.
extern std::atomic<bool> refuseThreads;

// Windows: if not null, the body of the library's next thread starts when this event is set. The other event,
// unless null, is set when the thread exists and waits.
extern std::atomic<Dova::Os::TEvent*> holdNextThread;
extern std::atomic<Dova::Os::TEvent*> nextThreadHeld;

// Called by the overridden system function; false: refuse.
inline bool AskForThread() {
  return !refuseThreads;
}

// Called on a thread that is being held.
inline void Hold(Dova::Os::TEvent& until) {
  if (Dova::Os::TEvent* const toSet = nextThreadHeld.exchange(nullptr)) toSet->Set();
  until.Wait();
}

// During its lifetime, all allocations of the calling thread fail from the `first` on (0: the next).
class TNoMemory {
 public:
  explicit TNoMemory(int first = 0);
  ~TNoMemory();
  TNoMemory(const TNoMemory&) = delete;
  TNoMemory& operator=(const TNoMemory&) = delete;

  bool WasFelt() const;
};

}  // namespace TestSupport
