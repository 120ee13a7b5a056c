#pragma once

#include "platform/os/Thread.h"
#include "platform/runtime/TSyncObj.h"
#include "shmem/TShMemCli.h"

namespace Dova {

// The worker: waits until bytes have come or room has been made, and carries the news into the context.
class TShMemCli::TCliThr : public TSyncObj {
 public:
  explicit TCliThr(TShMemCli& owner) : TSyncObj(owner.SyncContext()), owner_(owner) {}

  // The owner lives until the thread has ended. False when the system has no thread or no handles to give.
  bool Start();

  // Wakes the thread, which finds the link to be over, and waits until it has ended, unless an event of its
  // is on a stack beneath. From inside the context.
  void Stop();

  // Any thread: the queue is no longer empty, so room in the ring is of interest.
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
  // How often in a row the full ring took nothing of what is queued; 0: nothing is queued.
  unsigned retries_ = 0;
  bool bulk_ = false;  // much came at once; more is likely on its way
  bool more_ = false;  // bytes are left that one event must not take
  Os::TNamedEventWait wait_;
  Os::TThread thread_;
};

}  // namespace Dova
