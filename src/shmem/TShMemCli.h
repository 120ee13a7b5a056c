#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <new>
#include <string>

#include "platform/os/Process.h"
#include "platform/runtime/TTimer.h"
#include "platform/transport/TMemQueue.h"
#include "shmem/TMesProxy.h"
#include "shmem/TShMemChannel.h"

namespace Dova {

// Messenger kind "ShMemCli": carries the byte stream through two rings in memory created by a gateway on the
// same machine. Its parameters are the setting of another messenger, the proxy link, over which it requests
// the rings' name and exchanges heartbeats. From that setting, `sq=` limits what is queued for space in the
// ring, and `spin=` is how long the worker polls the rings before it sleeps.
//
// Events are raised by the proxy link's thread (ready), by a worker thread that waits for the rings (data,
// space, and their end), and by the timer (no answer, no heartbeat). Sends write to the ring on the caller's
// thread; what does not fit is queued and moved by the worker.
class TShMemCli : public TMesProxy, private TMemQueue {
 public:
  static Dstl::wise_ref<TMesBase> Make() { return Dstl::wise_ref<TMesBase>(new TShMemCli); }

  bool SettingApply(const std::string& setting) override;
  void Close() override;
  int LinkTimeoutMs() const override;

  // All or nothing. Returns 0 before the link is ready, once it is ending, and if the queue limit would be
  // exceeded; also if the ring is broken, which ends the link.
  int Send(const char* bytes, int length) override;
  int SendAt(const char* bytes, int length, std::uint64_t& at) override;
  // What was written into the ring has left: the gateway may read it at any time.
  std::uint64_t TakenBytes() override;
  // What the queue and an empty ring take together; a ring keeps one byte free.
  std::size_t SendQueueBytes() const override { return queueBytes_ + sendChannel_.Ring().Capacity() - 1; }
  // At most kEventBytes per event; the rest is delivered by another event.
  int Recv(char* buffer, int size) override;
  static constexpr std::size_t kEventBytes = std::size_t{256} << 10;

  void OnMesLinkReady(TMesBase* inner) override;
  void OnMesRecvReady(TMesBase* inner) override;

  // One line received from the gateway over the proxy link. From inside the context.
  virtual void OnProxyLine(const std::string& line);

 protected:
  TShMemCli();
  ~TShMemCli() override;

 private:
  class TCliThr;

  // Only moves forward. Written under the queue's lock.
  enum class EState {
    Asking,  // opening the proxy link, or waiting for the rings' name
    Linked,
    Ending,  // no more sends; the worker reads what is left and ends the link
    Over,
  };
  // Purpose of the timer.
  enum class EAwait { Name, Silence, Answer };

  EState State() const { return state_.load(std::memory_order_acquire); }
  bool IsOver() const { return State() == EState::Over; }
  // True in a child forked from the process that created it; it does nothing there.
  bool IsInherited() const { return generation_ != Os::ProcessGeneration(); }

  void SetState(EState state);

  void OnInnerGone(const std::string& reason) override;
  void SplitLines(const char* bytes, std::size_t length);

  void JoinRings(const std::string& baseName);
  void SetLinkReady();
  // Ends the link before it is ready; why a name could not be joined says more than `reason`.
  void EndUnjoined(const std::string& reason);

  // Ends the link once, from inside the context: closes, then raises the event. Threads outside the context
  // use BeginEnd to have the worker do it, after reading up to `drainBytes`.
  void End(const std::string& reason);
  void BeginEnd(const char* reason, Os::ECause cause, std::size_t drainBytes = 0);
  void BeginEndLocked(const char* reason, Os::ECause cause, std::size_t drainBytes = 0);
  void EndLater();

  void Await(EAwait what, unsigned ms);
  void OnTimer();  // on the timer thread
  void OnOverdue();

  // Runs an action that may run out of memory; if it does, the link ends. From inside the context.
  template <class TAction>
  void Guarded(const TAction& action) {
    try {
      action();
    } catch (const std::bad_alloc&) {
      SetEndCause(Os::ECause::NoMemory);
      End("Out of memory");
    }
  }

  // For the worker, inside the context. OnBytes returns true if the ring holds more than one event may
  // deliver.
  bool OnBytes();
  void OnRoom();
  // Moves queued bytes into the ring; true if none are left.
  bool MoveOverflow();
  bool AppendLocked(const char* bytes, std::size_t length);

  TShMemChannel sendChannel_;  // guarded by the queue's lock once the link is ready
  TShMemChannel receiveChannel_;
  std::atomic<EState> state_{EState::Asking};
  std::string endReason_;                      // used with EState::Ending
  Os::ECause laterCause_ = Os::ECause::Other;  // likewise, as is the next
  std::size_t drainBytes_ = 0;
  const unsigned generation_ = Os::ProcessGeneration();
  std::uint64_t taken_ = 0;     // guarded by the queue's lock
  std::size_t queueBytes_ = 0;  // from the setting, as is the next
  int spinUs_ = 0;
  std::unique_ptr<TCliThr> thread_;

  // Guarded by the context:
  std::string partialLine_;
  std::string joinError_;  // for the last name that could not be joined
  Os::ECause joinCause_ = Os::ECause::Other;
  std::size_t received_ = 0;  // in this event
  EAwait await_ = EAwait::Name;
  Os::TTime due_ = Os::kNever;

  TTimerQueue& clock_;
  TTimer<TShMemCli> timer_;  // last member: its destruction waits for an expiry, which uses the others
};

}  // namespace Dova
