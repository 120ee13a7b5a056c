#include "keeper/TLedger.h"

#include <algorithm>
#include <utility>

#include "protocol/RequestPrefix.h"

namespace VekApi {

TLedger::TLedger(const TLedgerRules& rules, TLedgerPort& port, TEventQueue& told)
    : rules_(rules), port_(port), told_(told) {}

// ---- from the application ----

int TLedger::Submit(const TNewRequest& wanted, std::int64_t now, TRequest*& made) {
  TRequest* const replaced = wanted.replaces ? pool_.Find(wanted.replaces) : nullptr;
  if (const int reason = WhyNot(wanted, replaced, now)) return reason;
  TRequest* const request = Enter(wanted, now);
  if (!request) return vsr_NoMemory;
  if (wanted.tried && !request->placed) {
    pool_.Free(*request);
    return vsr_TooFast;
  }
  request->phase = EPhase::Held;
  LaneOf(*request).PushBack(*request);
  heldMost_ = std::max(heldMost_, Held());
  due_.Put(*request, wanted.holdUntilNs);
  if (replaced) Tell(*replaced, vsf_NeverSent, vsr_Replaced, now);
  made = request;
  return 0;
}

int TLedger::WhyNot(const TNewRequest& wanted, const TRequest* replaced, std::int64_t now) const {
  const auto taken = [this](const TRequest& each) {
    return each.Undecided() || (each.fate == vsf_TimedOut && each.link == link_);
  };
  // It would stay at the head of its lane for good, and all others behind it.
  if (FramedBytes(FrontOf(wanted) + wanted.text.size()) > most_) return vsr_BadText;
  const bool unique = wanted.putIdInFront || (wanted.flags & vsg_Duplicate) != 0;
  if (!unique && pool_.FindId(wanted.id, taken)) return vsr_DuplicateId;
  if (wanted.replaces && (!replaced || replaced->phase != EPhase::Held)) return vsr_TooLate;
  if (Held() - (replaced ? 1 : 0) >= rules_.maxHeld) return vsr_QueueFull;
  return wanted.tried && fullUntil_ > now ? vsr_LinkFull : 0;
}

// Creates the request outside any lane; if it is only tried, with its place if there is one. Null if there
// are too many requests.
TRequest* TLedger::Enter(const TNewRequest& wanted, std::int64_t now) {
  TRequest* const request = pool_.New();
  if (!request) return nullptr;
  try {
    due_.Reserve(pool_.Size());
    Fill(*request, wanted, now);
    request->placed = wanted.tried && ReadyToTry(wanted);
  } catch (...) {
    pool_.Free(*request);
    throw;
  }
  return request;
}

void TLedger::Fill(TRequest& request, const TNewRequest& wanted, std::int64_t now) {
  const std::size_t front = FrontOf(wanted);
  request.text.resize(front + wanted.text.size());
  if (front != 0) request.text[wanted.id.copy(request.text.data(), front)] = ' ';
  wanted.text.copy(request.text.data() + front, wanted.text.size());
  request.code = wanted.code;
  request.flags = wanted.flags;
  request.tried = wanted.tried;
  request.own = wanted.own;
  request.link = link_;
  request.tag = wanted.tag;
  request.answerMs = wanted.answerMs;
  request.submittedNs = now;
  pool_.Name(request, wanted.id);
}

// True if nothing ahead of it is still waiting for a place, and it gets its own.
bool TLedger::ReadyToTry(const TNewRequest& wanted) {
  const auto waits = [](const TRequestList& lane) {
    return !lane.Empty() && !(lane.First()->placed && lane.Last()->placed);
  };
  if (waits(urgent_) || ((wanted.flags & vsg_Urgent) == 0 && waits(normal_))) return false;
  waitMs_ = port_.TakePlace(wanted.code);
  return waitMs_ == 0;
}

int TLedger::Withdraw(std::uint64_t ticket, int reason, std::int64_t now) {
  TRequest* const request = pool_.Find(ticket);
  if (!request || request->phase != EPhase::Held) return vsr_TooLate;
  Tell(*request, vsf_NeverSent, reason, now);
  return 0;
}

std::uint32_t TLedger::Ahead(const TRequest& request) const {
  return urgent_.Size() + ((request.flags & vsg_Urgent) != 0 ? 0 : normal_.Size()) - 1;
}

// ---- time ----

void TLedger::OnTime(std::int64_t now) {
  for (TRequest* first = due_.First(); first && first->dueNs <= now; first = due_.First()) {
    if (first->phase == EPhase::Held) {
      Tell(*first, vsf_NeverSent, vsr_Expired, now);
    } else {
      timedOutHandedNs_ = std::max(timedOutHandedNs_, first->handedNs);
      Tell(*first, vsf_TimedOut, vsr_NoAnswer, now);
    }
  }
  due_.Look();
}

std::int64_t TLedger::NextDue() const {
  const std::int64_t next = due_.Soonest();
  if (going_ || ended_ || Held() == 0) return next;
  return std::min(next, fullUntil_ != 0 ? fullUntil_ : placeDue_);
}

std::int64_t TLedger::TakeTimedOut() {
  return std::exchange(timedOutHandedNs_, 0);
}

// ---- links ----

void TLedger::BeginLink(std::uint32_t link) {
  link_ = link;
  ended_ = false;
  fullUntil_ = 0;
  most_ = SIZE_MAX;
  timedOutInOrder_ = 0;
  endedNeverSent_ = endedUnknown_ = 0;
}

void TLedger::EndLink(int reason, std::int64_t now) {
  ended_ = true;
  endReason_ = reason;
  EndList(order_, now);
  EndList(others_, now);
  DropHeld(reason, now);
}

void TLedger::EndList(TRequestList& list, std::int64_t now) {
  while (TRequest* const request = list.First()) {
    if (request->phase == EPhase::Out) {
      TellByBytes(*request, now);
    } else {
      Leave(*request);
      if (request->phase == EPhase::Told) Remember(*request);
    }
  }
  timedOutInOrder_ = 0;
}

void TLedger::DropHeld(int reason, std::int64_t now) {
  for (TRequestList* lane : {&urgent_, &normal_}) {
    while (TRequest* const request = lane->First()) Tell(*request, vsf_NeverSent, reason, now);
  }
}

}  // namespace VekApi
