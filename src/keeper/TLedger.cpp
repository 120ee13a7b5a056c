#include "keeper/TLedger.h"

#include <algorithm>
#include <utility>

#include "platform/runtime/Wipe.h"
#include "protocol/RequestPrefix.h"

namespace VekApi {
namespace {

constexpr std::int64_t kNsPerMs = 1'000'000;
constexpr std::int64_t kFullNs = 5 * kNsPerMs;  // how long a link that took nothing is left alone
constexpr std::size_t kMaxParts = 256;

// Requests that wait for the same places.
int LimitOf(const TRequest& request) {
  return request.code == PkTaskResult || request.code == PkRequestAck ? request.code : 0;
}

}  // namespace

TLedger::TLedger(const TLedgerRules& rules, TLedgerPort& port, TEventQueue& told)
    : rules_(rules), port_(port), told_(told) {}

// ---- from the application ----

int TLedger::Submit(const TNewRequest& wanted, std::int64_t now, TRequest*& made) {
  const auto taken = [this](const TRequest& each) {
    return each.Undecided() || (each.fate == vsf_TimedOut && each.link == link_);
  };
  const bool unique = wanted.putIdInFront || (wanted.flags & vsg_Duplicate) != 0;
  if (!unique && pool_.FindId(wanted.id, taken)) return vsr_DuplicateId;
  TRequest* const replaced = wanted.replaces ? pool_.Find(wanted.replaces) : nullptr;
  if (wanted.replaces && (!replaced || replaced->phase != EPhase::Held)) return vsr_TooLate;
  if (Held() - (replaced ? 1 : 0) >= rules_.maxHeld) return vsr_QueueFull;
  if (wanted.tried && fullUntil_ > now) return vsr_LinkFull;

  TRequest* const request = pool_.New();
  if (!request) return vsr_NoMemory;
  try {
    due_.Reserve(pool_.Size());
    Enter(*request, wanted, now);
  } catch (...) {
    pool_.Free(*request);
    throw;
  }
  if (wanted.tried && !ReadyToTry(wanted)) {
    pool_.Free(*request);
    return vsr_TooFast;
  }
  request->placed = wanted.tried;
  request->phase = EPhase::Held;
  LaneOf(*request).PushBack(*request);
  heldMost_ = std::max(heldMost_, Held());
  due_.Put(*request, wanted.holdUntilNs);
  if (replaced) Tell(*replaced, vsf_NeverSent, vsr_Replaced, now);
  made = request;
  return 0;
}

TRequest& TLedger::Enter(TRequest& request, const TNewRequest& wanted, std::int64_t now) {
  request.text.clear();
  request.text.reserve((wanted.putIdInFront ? wanted.id.size() + 1 : 0) + wanted.text.size());
  if (wanted.putIdInFront) request.text.append(wanted.id).push_back(' ');
  request.text.append(wanted.text);
  request.code = wanted.code;
  request.flags = wanted.flags;
  request.tried = wanted.tried;
  request.own = wanted.own;
  request.link = link_;
  request.tag = wanted.tag;
  request.answerMs = wanted.answerMs;
  request.submittedNs = now;
  pool_.Name(request, wanted.id);
  return request;
}

// Nothing without a place waits before it, and it gets its own.
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

// ---- handing over ----

bool TLedger::Place(TRequest& request, std::int64_t now) {
  if (request.placed) return true;
  waitMs_ = port_.TakePlace(request.code);
  request.placed = waitMs_ == 0;
  if (!request.placed && !std::exchange(waiting_, true)) ++gateWaits_;
  if (waitMs_ > 0) placeDue_ = std::min(placeDue_, now + waitMs_ * kNsPerMs);
  return request.placed;
}

TRequest* TLedger::Head(std::int64_t now) {
  TRequest* const urgent = urgent_.First();
  if (urgent && Place(*urgent, now)) return urgent;
  TRequest* const normal = normal_.First();
  // The same places: the urgent one's turn comes first.
  if (!normal || (urgent && LimitOf(*urgent) == LimitOf(*normal))) return nullptr;
  return Place(*normal, now) ? normal : nullptr;
}

bool TLedger::Take(TMessage& message, std::int64_t now) {
  if (going_ || ended_ || fullUntil_ > now) return false;
  fullUntil_ = 0;
  placeDue_ = TRequest::kNever;
  TRequest* request = Head(now);
  if (!request) return false;
  waiting_ = false;
  message.parts.reserve(kMaxParts);
  message.parts.clear();
  message.buffer.resize(kPrefixBytes);
  message.code = request->code;
  Append(message, *request);
  while (message.code == PkRequestAck && message.parts.size() < kMaxParts) {
    request = urgent_.Empty() ? normal_.First() : urgent_.First();
    if (!request || request->code != PkRequestAck) break;
    if (message.buffer.size() + 1 + request->text.size() > kPrefixBytes + kMaxPiece) break;
    message.buffer.reserve(kPrefixBytes + kMaxPiece);
    if (!Place(*request, now)) break;
    Append(message, *request);
  }
  going_ = true;
  return true;
}

void TLedger::Append(TMessage& message, TRequest& request) {
  if (!message.parts.empty()) message.buffer.push_back('\n');
  message.buffer.append(request.text);
  message.parts.push_back({&request, request.ticket});
  Leave(request);
  due_.Remove(request);
  request.phase = EPhase::Going;
  (request.code == PkRequestAck ? order_ : others_).PushBack(request);
  ++out_;
}

bool TLedger::OnSent(TMessage& message, bool sent, std::uint64_t at, std::uint64_t tried, std::int64_t now) {
  going_ = false;
  const bool taken = sent || at != TRequest::kNowhere;
  if (!taken && !ended_) fullUntil_ = now + kFullNs;
  bool forgotten = false;
  for (auto part = message.parts.rbegin(); part != message.parts.rend(); ++part) {
    TRequest& request = *part->request;
    if (request.ticket != part->ticket || request.phase != EPhase::Going) continue;
    request.at = at;
    if (ended_) {
      TellByBytes(request, now);
    } else if (taken) {
      request.handedNs = now;
    } else if (request.ticket == tried) {
      --out_;
      if (request.code == PkRequestAck) port_.GiveBack(1);
      pool_.Free(request);
      forgotten = true;
    } else {
      Return(request, now);
    }
  }
  if (!taken || ended_) return forgotten;
  for (const TMessage::TPart& part : message.parts) {
    if (part.request->ticket == part.ticket && part.request->phase == EPhase::Going)
      SetOut(*part.request, at, now);
  }
  return false;
}

// To where it stood.
void TLedger::Return(TRequest& request, std::int64_t now) {
  if (request.code == PkRequestAck) port_.GiveBack(1);
  if (request.tried || request.code == PkSession) return Tell(request, vsf_NeverSent, vsr_LinkFull, now);
  --out_;
  Leave(request);
  request.placed = false;
  request.phase = EPhase::Held;
  LaneOf(request).PushFront(request);
}

void TLedger::SetOut(TRequest& request, std::uint64_t at, std::int64_t now) {
  request.phase = EPhase::Out;
  request.at = at;
  request.handedNs = now;
  const bool answered = request.code == PkRequestAck || request.code == PkSession ||
                        (request.code == PkTaskResult && request.idLength != 0);
  if (!answered) return Tell(request, vsf_Left, 0, now);
  if (request.code == PkSession) Dova::WipeText(request.text);
  due_.Put(request, request.answerMs == 0 ? TRequest::kNever : now + request.answerMs * kNsPerMs);
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
}

std::int64_t TLedger::NextDue() const {
  std::int64_t next = due_.First() ? due_.First()->dueNs : TRequest::kNever;
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
