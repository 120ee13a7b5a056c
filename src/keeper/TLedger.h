// Keeps account of a session's requests: each is accepted once and gets exactly one fate. Passive: its owner
// does the locking, passes in the time and what happened, and sends what Take returns. Nothing here waits,
// calls the application or reads a clock.
//
//   Held    waiting in a lane, in order of submission; urgent requests have a lane of their own
//   Going   a thread is inside Send with it; one message at a time, which may be a batch
//   Out     the link took it
//   Told    has its fate; remembered for late answers, and while its acknowledgement line may arrive
//
// Events for the application go into a queue, in the order in which they were decided.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "keeper/TDueTimes.h"
#include "keeper/TRequestPool.h"
#include "keeper/TRoundTrips.h"

namespace VekApi {

// What the ledger needs from its owner.
class TLedgerPort {
 public:
  // Takes a place for a request of that code. Returns 0 if it was taken, else the milliseconds to wait, or a
  // negative value to wait for an acknowledgement.
  virtual int TakePlace(int code) = 0;
  virtual void GiveBack(unsigned places) = 0;
  virtual void OnAcknowledged(unsigned places) = 0;
  // How many bytes of the ended link's stream have left this process.
  virtual std::uint64_t TakenBytes() = 0;
  // Fills in the session's current state.
  virtual void Stamp(TEvent& event) = 0;

 protected:
  ~TLedgerPort() = default;
};

struct TLedgerRules {
  std::int32_t ackRule = vsa_InOrder;
  char idSeparator = ' ';
  std::uint32_t maxHeld = 100'000;
  std::uint32_t remember = 1000;
};

struct TNewRequest {
  int code = 0;
  std::uint32_t flags = 0;
  bool tried = false;
  bool own = false;
  bool putIdInFront = false;
  std::string_view id;
  std::string_view text;
  std::int64_t holdUntilNs = TRequest::kNever;
  std::uint32_t answerMs = 0;  // 0: forever
  std::uint64_t replaces = 0;
  std::uint64_t tag = 0;
};

// The unit handed to the link in one call.
struct TMessage {
  struct TPart {
    TRequest* request;
    std::uint64_t ticket;
    bool IsGoing() const { return request->ticket == ticket && request->phase == EPhase::Going; }
  };
  int code = 0;
  std::string buffer;  // five reserved bytes, then the text
  std::vector<TPart> parts;
};

class TLedger {
 public:
  TLedger(const TLedgerRules& rules, TLedgerPort& port, TEventQueue& told);

  // ---- from the application ----

  // Returns 0 and the request, or a reason. After vsr_TooFast, WaitMs tells how long to wait. Throws
  // std::bad_alloc and then enters nothing.
  int Submit(const TNewRequest& wanted, std::int64_t now, TRequest*& made);
  int Withdraw(std::uint64_t ticket, int reason, std::int64_t now);

  // ---- sending ----

  // Fetches the next message, if none is Going and the head of a lane has a place. Throws std::bad_alloc;
  // then at most a place has been taken.
  bool Take(TMessage& message, std::int64_t now);
  // False if Take cannot succeed.
  bool MayTake() const { return !going_ && !ended_ && Held() > 0; }
  // Reports the outcome of Send: whether the link took the whole message, and its offset in the stream
  // (kNowhere: the link took nothing). Returns true if the request with the ticket `tried` was not taken; it
  // is then forgotten, without a fate.
  bool OnSent(TMessage& message, bool sent, std::uint64_t at, std::uint64_t tried, std::int64_t now);
  bool Going() const { return going_; }

  // ---- answers ----

  struct TAnswer {
    int code = 0;
    std::string_view id;
    std::string_view text;
    const VekTaskResult* result = nullptr;
  };
  void OnResult(const TAnswer& answer, std::int64_t now);
  void OnAcks(std::string_view text, std::int64_t now);
  bool OnPasswordAnswer(std::string_view text, std::int64_t now);

  // ---- time ----

  void OnTime(std::int64_t now);
  // The latest time for the next call of OnTime. Calling earlier is harmless.
  std::int64_t NextDue() const;

  // ---- links ----

  void BeginLink(std::uint32_t link);
  // The longest message that this link can ever take, in bytes on the wire.
  void SetMost(std::size_t bytes) { most_ = bytes; }
  // Gives every request its fate; requests that are Going get theirs when their Send returns. The link must
  // be closed already.
  void EndLink(int reason, std::int64_t now);
  // Affects only held requests.
  void DropHeld(int reason, std::int64_t now);

  // For a Send that is running further down the caller's own stack and would return too late: its requests
  // count as left.
  void GiveUpGoing(const TMessage& message, std::int64_t now);

  // Queues an event that belongs to no request. Throws std::bad_alloc.
  TNews& Tell(int kind, std::uint32_t flags, const TAnswer& answer);
  void TellStray(const TAnswer& answer);

  // Must be called for each queued event once it has been delivered.
  void OnDelivered(TEvent& event);

  // ---- status ----

  const TRequest* Find(std::uint64_t ticket) const { return pool_.Find(ticket); }
  std::uint32_t Held() const { return urgent_.Size() + normal_.Size(); }
  std::uint32_t HeldMost() const { return heldMost_; }
  std::uint32_t Out() const { return out_; }
  // Requests of this link whose acknowledgement line has not arrived, whether they timed out or not.
  std::uint32_t AwaitingLines() const { return order_.Size(); }
  std::uint32_t Ahead(const TRequest& request) const;
  // For the place that was refused last.
  int WaitMs() const { return waitMs_; }
  std::uint32_t TimedOutInOrder() const { return timedOutInOrder_; }
  // When the most recent of the timed-out requests was handed over; 0: none has timed out since the last
  // call.
  std::int64_t TakeTimedOut();
  std::uint32_t TakeEndedNeverSent() { return std::exchange(endedNeverSent_, 0); }
  std::uint32_t TakeEndedUnknown() { return std::exchange(endedUnknown_, 0); }
  std::uint64_t Fates(int fate) const { return fates_[fate]; }
  void CountRefused() { ++fates_[vsf_Refused]; }
  std::uint64_t Late() const { return late_; }
  std::uint64_t Stray() const { return stray_; }
  std::uint64_t GateWaits() const { return gateWaits_; }
  const TRoundTrips& RoundTrips(int code) const { return roundTrips_[code == 128 ? 0 : 1]; }
  // A link that took nothing is left alone until then.
  std::int64_t FullUntil() const { return fullUntil_; }

 private:
  friend struct TLedgerPeer;  // for tests

  static std::size_t FrontOf(const TNewRequest& wanted) {
    return wanted.putIdInFront ? wanted.id.size() + 1 : 0;
  }
  int WhyNot(const TNewRequest& wanted, const TRequest* replaced, std::int64_t now) const;
  TRequest* Enter(const TNewRequest& wanted, std::int64_t now);
  void Fill(TRequest& request, const TNewRequest& wanted, std::int64_t now);
  bool ReadyToTry(const TNewRequest& wanted);
  TRequestList& LaneOf(const TRequest& request) {
    return (request.flags & vsg_Urgent) != 0 ? urgent_ : normal_;
  }
  TRequest* Head(std::int64_t now);
  bool Place(TRequest& request, std::int64_t now);
  TRequest* NextOfBatch(const TMessage& message, std::int64_t now);
  void Append(TMessage& message, TRequest& request, std::int64_t now);
  bool TakeBack(TMessage& message, std::uint64_t at, std::uint64_t tried, std::int64_t now);
  void Return(TRequest& request, std::int64_t now);
  void SetOut(TRequest& request, std::uint64_t at, std::int64_t now);

  void Tell(TRequest& request, int fate, int reason, std::int64_t now);
  void TellAnswer(TRequest& request, int fate, int reason, const TAnswer& answer, std::int64_t now);
  void TellByBytes(TRequest& request, std::int64_t now);
  void TellLate(const TRequest& request, const TAnswer& answer);
  TNews& Make(int kind, const TAnswer& answer);
  void Remember(TRequest& request);
  void Forget(TRequest& request);

  void OnLine(std::string_view line, std::int64_t now);
  void OnLineOf(TRequest& request, const TAnswer& answer, std::int64_t now);
  TRequest* LineOwner(std::string_view line, std::string_view& id);
  void EndList(TRequestList& list, std::int64_t now);

  const TLedgerRules rules_;
  TLedgerPort& port_;
  TEventQueue& told_;
  TRequestPool pool_;
  TDueTimes due_;

  TRequestList urgent_;
  TRequestList normal_;
  TRequestList order_;   // requests of code 129 of this link whose line has not arrived
  TRequestList others_;  // all others that are Going or Out
  TRequestList remembered_;

  bool going_ = false;
  bool ended_ = true;
  int endReason_ = 0;
  std::uint32_t link_ = 0;
  std::size_t most_ = SIZE_MAX;
  int waitMs_ = 0;
  std::int64_t placeDue_ = TRequest::kNever;
  std::int64_t fullUntil_ = 0;
  bool waiting_ = false;  // the head of a lane is waiting for a place

  std::uint32_t out_ = 0;
  std::uint32_t heldMost_ = 0;
  std::uint32_t timedOutInOrder_ = 0;
  std::int64_t timedOutHandedNs_ = 0;
  std::uint32_t endedNeverSent_ = 0;
  std::uint32_t endedUnknown_ = 0;
  std::uint64_t fates_[8] = {};
  std::uint64_t late_ = 0;
  std::uint64_t stray_ = 0;
  std::uint64_t gateWaits_ = 0;
  TRoundTrips roundTrips_[2];
};

}  // namespace VekApi
