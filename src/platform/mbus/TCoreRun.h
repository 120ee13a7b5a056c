#pragma once

#include "platform/mbus/Ref.h"
#include "platform/mbus/TThread.h"
#include "platform/os/MessageLoop.h"

namespace Dova {

// The runtime's own thread: one a process, there while somebody holds it. It keeps the runtime initialised
// and runs a message loop (Windows: a window message loop).
class TCoreRun : private Dstl::ref_counter_ost<unsigned>, private TThread {
 public:
  // Takes a reference on the process's core thread, and starts it when there is none.
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

  void Execute() override;
  void OnStopRequest() override { loop_.Quit(); }

  Os::TMessageLoop loop_;
};

// Holds the core thread for a scope.
class TCoreRunRef {
 public:
  TCoreRunRef() { TCoreRun::Acquire(); }
  ~TCoreRunRef() { TCoreRun::Release(); }
  TCoreRunRef(const TCoreRunRef&) = delete;
  TCoreRunRef& operator=(const TCoreRunRef&) = delete;
};

}  // namespace Dova
