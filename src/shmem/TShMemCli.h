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

// Messenger kind "ShMemCli": the byte stream goes through two rings in memory that a gateway on the same
// machine has created. Its parameters are the setting of another messenger, the proxy link, over which it
// asks for the rings' name and exchanges a heartbeat. Of that setting, `sq=` bounds what waits for room in
// the ring, and `spin=` is how long the worker polls the rings before it sleeps.
//
// The link's events come from the proxy link's thread (ready), from a worker thread that waits for the rings
// (bytes, room, and their end), and from the timer (no answer, no heartbeat). Sends go into the ring on the
// caller's thread; what does not fit is queued and moved by the worker.
class TShMemCli : public TMesProxy, private TMemQueue {
 public:
  static Dstl::wise_ref<TMesBase> Make() { return Dstl::wise_ref<TMesBase>(new TShMemCli); }

  bool SettingApply(const std::string& setting) override;
  void Close() override;
  int LinkTimeoutMs() const override;

  // All or nothing. 0 before the link is ready, once it ends, and when more would wait than may; also when
  // the ring turns out to be broken, which ends the link.
  int Send(const char* bytes, int length) override;
  // At most kEventBytes in one event; for what is left there is another one.
  int Recv(char* buffer, int size) override;
  static constexpr std::size_t kEventBytes = std::size_t{256} << 10;

  void OnMesLinkReady(TMesBase* inner) override;
  void OnMesRecvReady(TMesBase* inner) override;

  // What the gateway says over the proxy link, a line at a time. From inside the context.
  virtual void OnProxyLine(const std::string& line);

 protected:
  TShMemCli();
  ~TShMemCli() override;

 private:
  class TCliThr;

  // Only ever goes forward. Written under the queue's lock.
  enum class EState {
    Asking,  // the proxy link is being made, or the rings' name asked for
    Linked,
    Ending,  // nothing is sent any more; the worker reads what is left and ends the link
    Over,
  };
  // What the timer is for.
  enum class EAwait { Name, Silence, Answer };

  EState State() const { return state_.load(std::memory_order_acquire); }
  bool IsOver() const { return State() == EState::Over; }
  // In a child forked from the process that made it; nothing is done there.
  bool IsInherited() const { return generation_ != Os::ProcessGeneration(); }

  void SetState(EState state);

  void OnInnerGone(const std::string& reason) override;
  void SplitLines(const char* bytes, std::size_t length);

  void JoinRings(const std::string& baseName);
  void SetLinkReady();

  // The link's end, once, from inside the context: closes, then tells. Whoever is not inside asks the worker
  // for it by BeginEnd, which lets it read up to `drainBytes` before.
  void End(const std::string& reason);
  void BeginEnd(const char* reason, std::size_t drainBytes = 0);
  void BeginEndLocked(const char* reason, std::size_t drainBytes);

  void Await(EAwait what, unsigned ms);
  void OnTimer();  // timer thread
  void OnOverdue();

  // Runs what may lack memory; without it the link ends. From inside the context.
  template <class TAction>
  void Guarded(const TAction& action) {
    try {
      action();
    } catch (const std::bad_alloc&) {
      End("Out of memory");
    }
  }

  // For the worker, inside the context. OnBytes: true when the ring still holds more than one event may take.
  bool OnBytes();
  void OnRoom();
  // Moves queued bytes into the ring; true when none are left.
  bool MoveOverflow();
  bool AppendLocked(const char* bytes, std::size_t length);

  TShMemChannel sendChannel_;  // guarded by the queue's lock once the link is ready
  TShMemChannel receiveChannel_;
  std::atomic<EState> state_{EState::Asking};
  std::string endReason_;       // with EState::Ending
  std::size_t drainBytes_ = 0;  // the same
  const unsigned generation_ = Os::ProcessGeneration();
  std::size_t queueBytes_ = 0;  // from the setting, as is the next
  int spinUs_ = 0;
  std::unique_ptr<TCliThr> thread_;

  // Guarded by the context:
  std::string partialLine_;
  std::string joinError_;     // of the last name that could not be joined
  std::size_t received_ = 0;  // in this event
  EAwait await_ = EAwait::Name;
  std::int64_t dueNs_ = INT64_MAX;

  TTimerQueue& clock_;
  TTimer<TShMemCli> timer_;  // last: its destruction waits for an expiry that uses the rest
};

}  // namespace Dova
