#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace Dova::Os {

// Tells live threads apart; never 0.
std::uintptr_t CurrentThreadToken() noexcept;

void SleepMs(unsigned ms) noexcept;

// True once the process is being torn down in a way that has already ended its other threads (Windows: the
// unloading of DLLs at exit). A lock that such a thread held will never be given back.
bool ProcessIsExiting() noexcept;

// True while no thread can begin or end before the calling one returns from what it is inside (Windows: the
// loading or unloading of a DLL, whose lock every beginning and ending takes).
bool HoldsLoaderLock() noexcept;

// A thread of the library, whose code stays loaded for good once there was one.
class TThread {
 public:
  TThread() = default;
  ~TThread();  // detaches
  TThread(TThread&& other) noexcept;
  TThread& operator=(TThread&& other) noexcept;

  // `name` (at most 15 bytes) is what debuggers show. False when the system has no thread or no memory to
  // give; `body` is then not run. Only when nothing was started yet, or after Join or Detach.
  //
  // What `body` throws, nobody catches; a foreign end of the thread (pthread_exit, cancelling) unwinds it.
  bool Start(const char* name, std::function<void()> body) noexcept;

  // Waits until the thread has ended and lets go of it; false when timeoutMs (negative: for ever) passed
  // first. Nothing to wait for counts as ended, and so does a thread of the process that this one was forked
  // from. Keeps answering sent messages as TEvent does. Not from the thread itself.
  //
  // Under the loader lock it waits for the body only, and a body that has not begun never runs.
  bool Join(int timeoutMs = -1) noexcept;

  // Lets go of it; it ends by itself.
  void Detach() noexcept;

  bool IsCurrent() const noexcept;

 private:
  struct TNative;
  std::shared_ptr<TNative> native_;
};

}  // namespace Dova::Os
