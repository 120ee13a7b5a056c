#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace Dova::Os {

// Identifies a live thread; never 0.
std::uintptr_t CurrentThreadToken() noexcept;

void SleepMs(unsigned ms) noexcept;

// True when process shutdown has already ended the other threads (Windows: unloading of DLLs at exit). A lock
// held by such a thread is never released.
bool ProcessIsExiting() noexcept;

// True while no thread can start or end until the calling one returns (Windows: it is loading or unloading a
// DLL and holds the loader lock, which every thread start and end takes).
bool HoldsLoaderLock() noexcept;

// A thread of the library. Once there was one, the library's code stays loaded permanently.
class TThread {
 public:
  TThread() = default;
  ~TThread();  // detaches
  TThread(TThread&& other) noexcept;
  TThread& operator=(TThread&& other) noexcept;

  // `name` (at most 15 bytes) is shown by debuggers. Returns false if the system has no thread or memory;
  // `body` is then not run. Call it only before any start, or after Join or Detach.
  //
  // Exceptions from `body` are not caught; a forced end of the thread (pthread_exit, cancellation) unwinds
  // it.
  bool Start(const char* name, std::function<void()> body) noexcept;

  // Waits until the thread has ended and releases it; false on timeout (timeoutMs negative: no limit). If
  // there is nothing to wait for, or the thread belongs to the process this one was forked from, it counts as
  // ended. Keeps answering sent messages as TEvent does. Must not be called on the thread itself.
  //
  // Under the loader lock it waits for the body only, and a body that has not started never runs.
  bool Join(int timeoutMs = -1) noexcept;

  // Releases the thread, which runs to its end.
  void Detach() noexcept;

  bool IsCurrent() const noexcept;

 private:
  struct TNative;
  std::shared_ptr<TNative> native_;
};

}  // namespace Dova::Os
