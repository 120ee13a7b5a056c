#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "platform/mbus/TMemQueue.h"
#include "platform/mbus/TTimer.h"
#include "shmem/TMesProxy.h"
#include "shmem/TShMemChannel.h"

namespace Dova {

// Messenger kind "ShMemCli": the byte stream goes through two rings in memory that a gateway on the same
// machine has created. Its parameters are the setting of another messenger, the proxy link, over which it
// asks for the rings' name and exchanges a heartbeat.
//
// The link's events come from the proxy link's thread (ready, and what becomes of the proxy link), from a
// worker thread that waits for the rings (bytes, room), and from the timer (no heartbeat). Sends go into the
// ring on the caller's thread; what does not fit is queued, however much it is, and moved by the worker.
class TShMemCli : public TMesProxy, private TMemQueue {
 public:
  static Dstl::wise_ref<TMesBase> Make() { return Dstl::wise_ref<TMesBase>(new TShMemCli); }

  bool SettingApply(const std::string& setting) override;
  void Close() override;

  // Takes everything while there is a link; 0 only before it is ready, after it has ended, or when the ring
  // turns out to be broken (which ends it).
  int Send(const char* bytes, int length) override;
  int Recv(char* buffer, int size) override;

  void OnMesLinkReady(TMesBase* inner) override;
  void OnMesRecvReady(TMesBase* inner) override;

  // What the gateway says over the proxy link, a line at a time. From inside the context.
  virtual void OnProxyLine(const std::string& line);

 protected:
  TShMemCli();
  ~TShMemCli() override;

 private:
  class TCliThr;
  enum EThreadState { ts_NotStarted = 0, ts_Running = 1, ts_Stopping = 2, ts_Ended = 3 };

  bool OnInnerLost() override;
  void SplitLines(const char* bytes, std::size_t length);

  void JoinRings(const std::string& baseName);
  void SetLinkReady();
  void StopThread();

  void ArmHeartbeat();
  void OnHeartbeatSend();     // timer thread
  void OnHeartbeatTimeout();  // timer thread

  bool IsRunning() const { return threadState_.load(std::memory_order_acquire) == ts_Running; }

  // Moves queued bytes into the ring; true when none are left.
  bool MoveOverflow();

  bool AppendLocked(const char* bytes, std::size_t length);
  void SetBroken();
  bool CloseWhenBroken();

  TShMemChannel sendChannel_;  // guarded by the queue's lock, as is linked_
  TShMemChannel receiveChannel_;
  std::string partialLine_;
  std::atomic<int> threadState_{ts_NotStarted};
  std::unique_ptr<TCliThr> thread_;
  std::size_t received_ = 0;  // bytes, since the worker last looked; guarded by the context
  bool linked_ = false;
  std::atomic<bool> greeted_{false};  // OnMesLinkReady has returned
  std::atomic<bool> broken_{false};   // a ring holds what no ring can hold; the worker ends the link
  TTimer<TShMemCli> heartbeat_;       // last: its destruction waits for an expiry that uses the rest
};

}  // namespace Dova
