// A session that maintains its own connection. It combines a client, the ledger of requests and the reconnect
// policy, under one mutex and with two timers.
//
// Lock order: the client's context, mutex_, the limiter's lock, leaf locks. mutex_ is never held while
// sending, connecting, disconnecting or calling the application.
//
// Timers: due_ handles the gate and the deadlines. It never enters the context, so a slow callback delays
// neither. work_ delivers, connects and closes, inside the context.
#pragma once

#include <atomic>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "flowctrl/TFlowCtrl.h"
#include "keeper/SessionConfig.h"
#include "keeper/TKeptLink.h"
#include "keeper/TLedger.h"
#include "keeper/TPolicy.h"
#include "keeper/Times.h"
#include "keeper/WorkIds.h"
#include "platform/os/Event.h"
#include "platform/os/Mutex.h"
#include "platform/os/Signal.h"
#include "platform/runtime/Ref.h"
#include "platform/runtime/TLoopNotice.h"
#include "platform/runtime/TSyncContext.h"
#include "platform/runtime/TTimer.h"
#include "session/TImpl.h"
#include "session/TLinkWatch.h"
#include "session/TTextHandler.h"
#include "vekapi/VekClient.h"

namespace VekApi {

class TSession final : public Dstl::ref_counter<unsigned>,
                       private TTextHandler,
                       private TLinkWatch,
                       private TLedgerPort,
                       private TLoopNotice::TOwner {
 public:
  explicit TSession(const TSessionConfig& config);
  // True in a process forked from the one that created the session.
  bool IsInherited() const { return TClientParts::ImplOf(client_).Context()->IsInherited(); }
  // False if the thread cannot have a message loop.
  bool HasDelivery() const { return config_.delivery != vsd_Loop || (notice_ && *notice_); }

  // Each implements the flat function of the same name.
  int AddEndpoint(const char* setting);
  int AddResync(const char* query);
  int SetPassword(const char* password);
  int Open();
  int RetryIn(std::uint32_t ms);
  int ResyncDone(std::uint32_t link, bool good);
  void Close(std::uint32_t drainMs);
  void Delete();
  int Submit(const CVekSubmit& request, CVekReceipt& receipt);
  int Withdraw(std::uint64_t ticket);
  int ChangePassword(const char* user, const char* before, const char* after, std::uint64_t tag,
                     CVekReceipt& receipt);
  void NewWorkId(char* id);
  int SetRate(std::int32_t count, std::int32_t ms);
  int WaitMs(int code);
  int Next(int timeoutMs, CVekEvent& event);
  std::intptr_t WaitHandle();
  bool InCallback() const;
  void Stats(CVekSessionStats& stats);
  unsigned RoundTrips(int code, std::uint64_t* counts, unsigned room);
  void SetTrace(int level);

 private:
  using TSendNote = TClientParts::TImpl::TSendNote;
  using TLock = std::unique_lock<Dova::Os::TMutex>;
  static constexpr std::int64_t kNever = TRequest::kNever;
  enum class ELife { Lives, Deleting, Dead };  // dead: no more events

  ~TSession() override;

  std::int64_t NowNs() const { return clock_.Now().time_since_epoch().count(); }
  // Returns kNever for 0.
  static std::int64_t TimeAfter(std::int64_t now, std::uint32_t ms) {
    return ms == 0 ? kNever : now + ms * kNsPerMs;
  }
  TClientParts::TImpl& Impl() { return TClientParts::ImplOf(client_); }
  bool IsDead() const { return life_ == ELife::Dead; }
  bool IsLinked() const { return state_ == vss_Resyncing || state_ == vss_Up; }

  // ---- TSessionSend.cpp: any thread ----
  TNewRequest WantedBy(const CVekSubmit& request, CVekReceipt& receipt, std::int64_t now);
  int Check(const CVekSubmit& request, const TNewRequest& wanted) const;
  int Enter(const CVekSubmit& request, TLock& lock, CVekReceipt& receipt);
  void Explain(const CVekSubmit& request, int reason, CVekReceipt& receipt);
  bool Takes(std::uint32_t flags) const;
  int WhyNoPasswords() const;
  int SubmitPasswords(const std::string& texts, std::uint64_t tag, CVekReceipt& receipt);
  // Returns true if the request `tried` was not taken.
  bool Pump(TLock& lock, std::uint64_t tried = 0, std::int64_t now = 0);
  void PumpIn(unsigned ms);
  bool SendTaken(TSendNote& note) noexcept;
  bool SendPasswords();
  int GateWait(int code);
  bool MayOffer() const;
  void OfferGate();
  std::int64_t GateDue();
  void ArmDue();
  // Sends what the gate permits, and arms due_.
  void Settle(TLock& lock);
  // Arranges for queued events to be delivered and for Run to do its pending work.
  void Notify();
  // Settle and Notify; then releases the lock.
  void Leave(TLock& lock);
  void OnDueTimer();

  // ---- TLedgerPort ----
  int TakePlace(int code) override;
  void GiveBack(unsigned places) override { gate_.GiveBack(places); }
  void OnAcknowledged(unsigned places) override { gate_.SetAckTime(places); }
  std::uint64_t TakenBytes() override;
  void Stamp(TEvent& event) override;

  // ---- TSession.cpp: the state; with the lock ----
  void SetState(int state, int reason) { SetState(state, reason, *link_); }
  // Includes what is known about the end of that link.
  void SetState(int state, int reason, const TKeptLink& of);
  void WantEnd(int reason, bool abrupt = false) { link_->Want(reason, abrupt); }
  void EndLink(TKeptLink& link, int reason, std::string_view detail);
  std::int64_t CountUp(std::int64_t now);
  void FinishEnd();
  void GoOn(const TPolicy::TNext& next);
  void GoUp();
  bool IsWatched() const;
  std::int64_t HalfSilenceNs() const { return config_.silenceMs * std::int64_t{1'000'000} / 2; }
  void LookAtStage(std::int64_t now);
  bool LookAtTime(std::int64_t now);
  void ArmWork();
  void SubmitOwn(const std::string& query, std::uint32_t flags);
  bool Drain(std::uint32_t drainMs);
  int WaitOf(std::int64_t dueNs) const;

  // ---- TSessionWork.cpp: inside the context ----
  void Run();
  // `now` is the time of the call, and that of the return if something was done; likewise in DeliverOne.
  bool Step(TLock& lock, std::int64_t& now);
  bool HasRoom();
  // Does nothing if no link is open. Releases the lock meanwhile.
  void CloseLink(TLock& lock, int reason, bool abrupt);
  void AwaitSend(TLock& lock);
  void Connect(TLock& lock);
  void Probe(TLock& lock);
  void OnWorkTimer();

  // ---- TSessionLink.cpp, TSessionEvents.cpp: the client's events, inside the context ----
  void OnVekConnectEvent(VekClient&, const std::string& reason) override;
  void OnVekApReadyEvent(VekClient&) override;
  void OnVekTaskResultEvent(VekClient&, const VekTaskResult& result) override;
  void OnVekChgPassResultEvent(VekClient&, const std::string& user, const std::string& text) override;
  void OnText(int msgCode, std::string_view text) override;
  void OnVekUnknownMsgCodeEvent(VekClient&, int msgCode, const char* packet, int length) override;
  void OnVekClientDestroyEvent(VekClient&) override {}
  void OnLinked(const Dstl::wise_ref<Dova::TMesBase>& mes) override;
  void OnReceived(std::size_t bytes) override;
  void OnReceivedAll() override;
  void OnMessageIn(int msgCode, const char* message, std::size_t length) override;
  void OnMessageOut(int msgCode, const char* message, std::size_t length) override;
  void OnSecretSent(int msgCode, const std::string& user) override;
  void OnLostAfterRefusal() override;
  void OnRefused(const std::string& reason);
  void Tell(int kind, int code, std::string_view text);
  void TellAndRun(int kind, int code, std::string_view text);

  // ---- TSessionTrace.cpp ----
  class TTap;
  void TellTapped(const TTapped& tapped, std::string words);
  void TellTrace(std::uint32_t flags, int code, std::string_view bytes, std::string detail);
  void Trace(int msgCode, std::uint32_t flags, std::string_view bytes, std::size_t head);
  void TraceTaken() noexcept;

  // ---- TSessionDelivery.cpp ----
  bool DeliverOne(TLock& lock, std::int64_t& now);
  void CountResync(const TEvent& event);
  void Call(const TEvent& event);
  CVekEvent Show(const TEvent& event) const;
  void OnTold() override;

  const TSessionConfig config_;
  const Dova::TTimerQueue& clock_;
  Dova::Os::TMutex mutex_;

  // Guarded by mutex_:
  TEventQueue told_;
  TLedger ledger_;
  TPolicy policy_;
  TWorkIds ids_;
  Dova::TFlowCtrl gate_{true};
  std::int32_t rateCount_;
  std::int32_t rateMs_;
  std::vector<std::string> endpoints_;
  std::vector<std::string> resync_;
  std::string password_;

  int state_ = vss_Closed;
  Dstl::wise_ref<TKeptLink> link_ = TKeptLink::None(0);
  ELife life_ = ELife::Lives;
  bool closing_ = false;     // on the way to vss_Closed
  bool running_ = false;     // Run is active, and checks again before it returns
  bool workWanted_ = false;  // work_ is to expire immediately
  std::int64_t upNs_ = 0;    // of earlier links
  std::int64_t retryDue_ = kNever;
  int trace_ = 0;
  std::uint64_t bytesIn_ = 0, bytesOut_ = 0, messagesIn_ = 0, messagesOut_ = 0;
  std::int64_t dueArmed_ = kNever;
  TEvent* polled_ = nullptr;
  Dova::Os::TSignal signal_;

  TMessage message_;  // used by the thread that is inside Send
  std::uintptr_t goingThread_ = 0;
  Dova::Os::TEvent sent_;  // awaited by Close and Delete
  std::uint64_t passwordTicket_ = 0;
  const std::uintptr_t madeOn_;  // thread
  Dova::Os::TEvent something_;   // awaited by Next
  std::atomic<std::uintptr_t> callbackThread_{0};

  std::optional<TLoopNotice> notice_;
  VekClient client_;
  // Last members: their destruction waits for a running expiry, which may find the session gone.
  Dova::TTimer<TSession> due_;
  Dova::TTimer<TSession> work_;
};

}  // namespace VekApi
