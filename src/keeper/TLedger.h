// The book of a session's requests: each is accepted once and gets one fate. Plain: its owner locks, tells
// the time and what happens, and sends what Take gives. Nothing here waits, calls the application or asks a
// clock.
//
//   Held    waits in a lane, urgent ones in theirs, in the order of submitting
//   Going   a thread is inside Send with it: one message at a time, which may be a batch
//   Out     the link took it
//   Told    has its fate; stays known for late answers, and as long as its line may come
//
// What was told goes as events into a queue, in the order in which it was decided.
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

// What the ledger asks.
class TLedgerPort {
 public:
  // A place for a request of that code: 0 taken, else milliseconds to wait, negative until an
  // acknowledgement.
  virtual int TakePlace(int code) = 0;
  virtual void GiveBack(unsigned places) = 0;
  virtual void OnAcknowledged(unsigned places) = 0;
  // Of the link that has ended: how much of its stream has left this process.
  virtual std::uint64_t TakenBytes() = 0;
  // Stamps the event with what holds for the session at this moment.
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
  std::uint32_t answerMs = 0;  // 0: for ever
  std::uint64_t replaces = 0;
  std::uint64_t tag = 0;
};

// What is handed to the link at once.
struct TMessage {
  struct TPart {
    TRequest* request;
    std::uint64_t ticket;
    bool IsGoing() const { return request->ticket == ticket && request->phase == EPhase::Going; }
  };
  int code = 0;
  std::string buffer;  // five free bytes and the text
  std::vector<TPart> parts;
};

class TLedger {
 public:
  TLedger(const TLedgerRules& rules, TLedgerPort& port, TEventQueue& told);

  // ---- from the application ----

  // 0 and the request, or a reason. With vsr_TooFast WaitMs tells how long. Throws std::bad_alloc, with
  // nothing entered.
  int Submit(const TNewRequest& wanted, std::int64_t now, TRequest*& made);
  int Withdraw(std::uint64_t ticket, int reason, std::int64_t now);

  // ---- handing over ----

  // The next message, when nobody is Going and the head of a lane has a place. Throws std::bad_alloc, with
  // nothing changed but the place.
  bool Take(TMessage& message, std::int64_t now);
  // Whether that is worth trying.
  bool MayTake() const { return !going_ && !ended_ && Held() > 0; }
  // Send came back: whether the link took all, and where the message begins; kNowhere: it took nothing. True
  // when `tried` of this ticket was not taken: it is forgotten, without a fate.
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
  // When to call OnTime again, or earlier.
  std::int64_t NextDue() const;

  // ---- links ----

  void BeginLink(std::uint32_t link);
  // Everything gets its fate; what is Going when its Send returns. The link is closed already.
  void EndLink(int reason, std::int64_t now);
  // Only what is held.
  void DropHeld(int reason, std::int64_t now);

  // The thread that is Going is beneath the caller, and its Send will return too late: what it has counts as
  // left.
  void GiveUpGoing(const TMessage& message, std::int64_t now);

  // An event that is no request's; kept in the queue. Throws std::bad_alloc.
  TNews& Tell(int kind, std::uint32_t flags, const TAnswer& answer);
  void TellStray(const TAnswer& answer);

  // An event of the queue has been delivered.
  void OnDelivered(TEvent& event);

  // ---- besides ----

  const TRequest* Find(std::uint64_t ticket) const { return pool_.Find(ticket); }
  std::uint32_t Held() const { return urgent_.Size() + normal_.Size(); }
  std::uint32_t HeldMost() const { return heldMost_; }
  std::uint32_t Out() const { return out_; }
  // Requests of this link whose acknowledgement line has not come, timed out or not.
  std::uint32_t AwaitingLines() const { return order_.Size(); }
  std::uint32_t Ahead(const TRequest& request) const;
  // Of the place that was refused last.
  int WaitMs() const { return waitMs_; }
  std::uint32_t TimedOutInOrder() const { return timedOutInOrder_; }
  // When the newest request that timed out was handed over; 0: none since the last call.
  std::int64_t TakeTimedOut();
  std::uint32_t TakeEndedNeverSent() { return std::exchange(endedNeverSent_, 0); }
  std::uint32_t TakeEndedUnknown() { return std::exchange(endedUnknown_, 0); }
  std::uint64_t Fates(int fate) const { return fates_[fate]; }
  void CountRefused() { ++fates_[vsf_Refused]; }
  std::uint64_t Late() const { return late_; }
  std::uint64_t Stray() const { return stray_; }
  std::uint64_t GateWaits() const { return gateWaits_; }
  const TRoundTrips& RoundTrips(int code) const { return roundTrips_[code == 128 ? 0 : 1]; }
  // Until when a link that took nothing is left alone.
  std::int64_t FullUntil() const { return fullUntil_; }

 private:
  friend struct TLedgerPeer;  // the tests'

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
  void Append(TMessage& message, TRequest& request);
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
  TRequestList order_;   // code 129 of this link, up to its line
  TRequestList others_;  // what else is Going or Out
  TRequestList remembered_;

  bool going_ = false;
  bool ended_ = true;
  int endReason_ = 0;
  std::uint32_t link_ = 0;
  int waitMs_ = 0;
  std::int64_t placeDue_ = TRequest::kNever;
  std::int64_t fullUntil_ = 0;
  bool waiting_ = false;  // the head waits for a place

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
