#pragma once

#include "platform/os/MessageLoop.h"
#include "platform/os/Process.h"
#include "platform/runtime/Ref.h"
#include "shmem/TThread.h"

namespace Dova {

// The runtime's own thread: one per process, running while it is referenced. It keeps the runtime initialised
// and runs a message loop (Windows: a window message loop). If the system has no thread available, sessions
// work without it, and each Acquire tries again.
//
// Acquire and Release hold no lock while waiting for the thread to start or end. They answer sent messages
// meanwhile, so a window procedure may re-enter them on the same thread. An Acquire during the end of the
// previous thread starts a new one.
class TCoreRun : private Dstl::ref_counter_ost<unsigned>, private TThread {
 public:
  // Acquires a reference to the process's core thread, and starts it if there is none. The runtime is then
  // initialised, unless State() shows that no thread was available. Throws std::bad_alloc.
  static TCoreRun& Acquire();

  // Releases a reference; releasing the last one ends the thread and returns true. Waits for the thread at
  // most TThread::kStopMs.
  static bool Release();

  using TThread::State;
  using TThread::ThreadId;

  TCoreRun(const TCoreRun&) = delete;
  TCoreRun& operator=(const TCoreRun&) = delete;

 private:
  TCoreRun() : TThread("vek-core") {}
  ~TCoreRun() override = default;

  static TCoreRun& TakeReference();
  static TCoreRun* DropReference();  // the object if it was the last, else null

  void Run() override;
  void Execute() override;
  void OnStopRequest() override { loop_.Quit(); }

  Os::TMessageLoop loop_;
};

// Holds the core thread for its lifetime. Does nothing in a forked child if inherited from the parent.
class TCoreRunRef {
 public:
  TCoreRunRef() { TCoreRun::Acquire(); }
  ~TCoreRunRef() {
    if (generation_ == Os::ProcessGeneration()) TCoreRun::Release();
  }
  TCoreRunRef(const TCoreRunRef&) = delete;
  TCoreRunRef& operator=(const TCoreRunRef&) = delete;

 private:
  const unsigned generation_ = Os::ProcessGeneration();
};

}  // namespace Dova
