#pragma once

#include "platform/os/Thread.h"
#include "platform/runtime/TSyncObj.h"
#include "shmem/TShMemCli.h"

namespace Dova {

// The worker: waits for data or free space, and reports them inside the context.
class TShMemCli::TCliThr : public TSyncObj {
 public:
  explicit TCliThr(TShMemCli& owner) : TSyncObj(owner.SyncContext()), owner_(owner) {}

  // The owner must live until the thread has ended. Returns false if the system has no thread or handles
  // available.
  bool Start();

  // Wakes the thread, which then finds the link over, and waits for its end, unless one of its events is on a
  // stack below. From inside the context.
  void Stop();

  // Thread-safe: reports that the queue is no longer empty, so free space in the ring matters.
  void OnQueued();

 protected:
  void OnSync() override;

 private:
  enum EPending { pk_None = 0, pk_Data = 1, pk_Space = 2 };

  void Run();
  void Pass();
  unsigned WaitForRings();
  unsigned WaitFor(int timeoutMs);
  unsigned Poll();
  void OnSpace();
  void HandOver(EPending pending);
  void Tell();

  TShMemCli& owner_;
  EPending pending_ = pk_None;
  bool inSync_ = false;  // guarded by the context
  // Number of consecutive attempts in which the full ring accepted nothing of the queue; 0: nothing is
  // queued.
  unsigned retries_ = 0;
  bool bulk_ = false;  // much data arrived at once; more is likely
  bool more_ = false;  // the ring holds more than one event may deliver
  Os::TNamedEventWait wait_;
  Os::TThread thread_;
};

}  // namespace Dova
