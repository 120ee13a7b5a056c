// A system that is short of threads or memory, as a test says.
#pragma once

#include <atomic>

#include "platform/os/Event.h"

namespace TestSupport {

// While true the library gets no thread.
extern std::atomic<bool> refuseThreads;

// The body of the library's next thread begins when this is set. Null: at once. That the thread is there, and
// waits, is told by the other one, unless null.
extern std::atomic<Dova::Os::TEvent*> holdNextThread;
extern std::atomic<Dova::Os::TEvent*> nextThreadHeld;

// Whoever asks for a thread signals the first and waits for the second before it gets the answer.
extern std::atomic<Dova::Os::TEvent*> asked;
extern std::atomic<Dova::Os::TEvent*> answer;

// To be called by the system function that stands in for the real one; false: refuse.
inline bool AskForThread() {
  Dova::Os::TEvent* const toWait = answer.exchange(nullptr);
  if (Dova::Os::TEvent* const toSet = asked.exchange(nullptr)) toSet->Set();
  if (toWait) {
    while (!toWait->Wait(0)) continue;  // locks may be held here
  }
  return !refuseThreads;
}

// To be called on a thread that is held.
inline void Hold(Dova::Os::TEvent& until) {
  if (Dova::Os::TEvent* const toSet = nextThreadHeld.exchange(nullptr)) toSet->Set();
  until.Wait();
}

// From the `first` allocation of the calling thread on (0: the next) all fail, for the life of the object.
class TNoMemory {
 public:
  explicit TNoMemory(int first = 0);
  ~TNoMemory();
  TNoMemory(const TNoMemory&) = delete;
  TNoMemory& operator=(const TNoMemory&) = delete;

  bool WasFelt() const;
};

}  // namespace TestSupport
