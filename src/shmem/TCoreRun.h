#pragma once

#include "platform/os/MessageLoop.h"
#include "platform/os/Process.h"
#include "platform/runtime/Ref.h"
#include "shmem/TThread.h"

namespace Dova {

// The runtime's own thread: one a process, there while somebody holds it. It keeps the runtime initialised
// and runs a message loop (Windows: a window message loop). When the system is short of threads, sessions
// work without it, and each Acquire asks for it again.
//
// Acquire and Release hold no lock while they wait for the thread to begin or to end. They answer sent
// messages then, so a window procedure may come back to them, on the same thread, too. An Acquire during the
// end of the last one starts a new thread.
class TCoreRun : private Dstl::ref_counter_ost<unsigned>, private TThread {
 public:
  // Takes a reference on the process's core thread, and starts it when there is none: the runtime is
  // initialised then, unless State() tells that there was no thread to be had. Throws std::bad_alloc.
  static TCoreRun& Acquire();

  // Gives a reference back; the last one ends the thread (true). Waits for it, at most TThread::kStopMs.
  static bool Release();

  using TThread::State;
  using TThread::ThreadId;

  TCoreRun(const TCoreRun&) = delete;
  TCoreRun& operator=(const TCoreRun&) = delete;

 private:
  TCoreRun() : TThread("vek-core") {}
  ~TCoreRun() override = default;

  static TCoreRun& TakeReference();
  static TCoreRun* DropReference();  // the object when it was the last, else null

  void Run() override;
  void Execute() override;
  void OnStopRequest() override { loop_.Quit(); }

  Os::TMessageLoop loop_;
};

// Holds the core thread for a scope. In a forked child one of the parent's holds nothing.
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
