// How requests get their fates, and how answers are matched to them.
#include <algorithm>
#include <new>

#include "keeper/TLedger.h"
#include "platform/runtime/Wipe.h"
#include "protocol/Packet.h"

namespace VekApi {

void TLedger::Tell(TRequest& request, int fate, int reason, std::int64_t now) {
  TellAnswer(request, fate, reason, {}, now);
}

void TLedger::TellAnswer(TRequest& request, int fate, int reason, const TAnswer& answer, std::int64_t now) {
  if (request.IsSent()) --out_;
  if (request.phase == EPhase::Held && request.placed && request.code == PkRequestAck) port_.GiveBack(1);
  if (request.code == PkSession) Dova::WipeText(request.text);
  due_.Remove(request);
  request.phase = EPhase::Told;
  request.kind = vse_Fate;
  request.fate = static_cast<std::uint8_t>(fate);
  request.reason = static_cast<std::int16_t>(reason);
  request.atNs = now;
  ++fates_[fate];
  try {
    request.text.assign(answer.text);
    if (answer.result) request.TakeResult(*answer.result);
  } catch (const std::bad_alloc&) {
    request.text.clear();
    request.reason = vsr_NoMemory;
  }
  port_.Stamp(request);
  if (!request.own || (request.flags & vsg_Resync) != 0) told_.Push(request);
  if (fate == vsf_TimedOut && order_.Has(request)) {
    ++timedOutInOrder_;
  } else {
    Leave(request);
    Remember(request);
  }
}

// If the first byte of its message has left, the server may have read the request.
void TLedger::TellByBytes(TRequest& request, std::int64_t now) {
  const bool left = request.at != TRequest::kNowhere && port_.TakenBytes() > request.at;
  ++(left ? endedUnknown_ : endedNeverSent_);
  Tell(request, left ? vsf_Unknown : vsf_NeverSent, endReason_, now);
}

// Only a request that was sent can be answered late.
void TLedger::Remember(TRequest& request) {
  if (request.idLength == 0 || request.fate == vsf_NeverSent || rules_.remember == 0) return Forget(request);
  remembered_.PushBack(request);
  if (remembered_.Size() > rules_.remember) Forget(*remembered_.First());
}

void TLedger::Forget(TRequest& request) {
  Leave(request);
  if (!request.queued) pool_.Free(request);
}

void TLedger::OnDelivered(TEvent& event) {
  event.queued = false;
  if (!event.isRequest) return told_.Free(static_cast<TNews&>(event));
  auto& request = static_cast<TRequest&>(event);
  if (!request.place.list) pool_.Free(request);
}

TNews& TLedger::Make(int kind, const TAnswer& answer) {
  TNews& event = told_.New();
  try {
    event.text.assign(answer.text);
    if (answer.result) event.TakeResult(*answer.result);
  } catch (...) {
    told_.Free(event);
    throw;
  }
  event.kind = static_cast<std::uint8_t>(kind);
  event.code = answer.code;
  event.link = link_;
  event.workId[answer.id.copy(event.workId, kIdRoom - 1)] = 0;
  return event;
}

void TLedger::TellLate(const TRequest& request, const TAnswer& answer) {
  if (request.own && (request.flags & vsg_Resync) == 0) return;
  TNews& event = Make(vse_Late, answer);
  event.fate = request.fate;
  event.flags = request.flags;
  event.ticket = request.ticket;
  event.tag = request.tag;
  event.submittedNs = request.submittedNs;
  event.handedNs = request.handedNs;
  ++late_;
  port_.Stamp(event);
  told_.Push(event);
}

TNews& TLedger::Tell(int kind, std::uint32_t flags, const TAnswer& answer) {
  TNews& event = Make(kind, answer);
  event.flags = flags;
  port_.Stamp(event);
  told_.Push(event);
  return event;
}

void TLedger::TellStray(const TAnswer& answer) {
  Tell(vse_Stray, 0, answer);
  ++stray_;
}

void TLedger::GiveUpGoing(const TMessage& message, std::int64_t now) {
  if (!std::exchange(going_, false)) return;
  for (const TMessage::TPart& part : message.parts) {
    if (!part.IsGoing()) continue;
    ++endedUnknown_;
    Tell(*part.request, vsf_Unknown, endReason_, now);
  }
}

// ---- answers ----

void TLedger::OnResult(const TAnswer& answer, std::int64_t now) {
  const auto waits = [](const TRequest& each) { return each.code == PkTaskResult && each.IsSent(); };
  const auto told = [](const TRequest& each) {
    return each.code == PkTaskResult && each.phase == EPhase::Told && each.fate != vsf_NeverSent;
  };
  if (TRequest* const request = pool_.FindId(answer.id, waits)) {
    roundTrips_[0].Add(now - request->handedNs);
    TellAnswer(*request, vsf_Answered, 0, answer, now);
  } else if (TRequest* const late = pool_.FindId(answer.id, told)) {
    TellLate(*late, answer);
  } else {
    TellStray(answer);
  }
}

// In order, lines are counted as a gate counts them: an empty one only if it is the last, none behind a NUL.
void TLedger::OnAcks(std::string_view text, std::int64_t now) {
  const bool inOrder = rules_.ackRule == vsa_InOrder;
  std::string_view lines = inOrder ? text.substr(0, text.find('\0')) : text;
  for (;;) {
    const std::size_t end = lines.find('\n');
    if (end == std::string_view::npos) return OnLine(text, now);
    if (end > 0 || !inOrder) OnLine(text.substr(0, end), now);
    lines.remove_prefix(end + 1);
    text.remove_prefix(end + 1);
  }
}

// The request this line acknowledges. For the gate and the order it counts only if that is in order_.
TRequest* TLedger::LineOwner(std::string_view line, std::string_view& id) {
  if (rules_.ackRule == vsa_InOrder) return order_.First();
  id = line.substr(0, line.find(rules_.idSeparator));
  const auto inOrder = [this](const TRequest& each) { return order_.Has(each); };
  const auto told = [](const TRequest& each) {
    return each.code == PkRequestAck && each.phase == EPhase::Told && each.fate != vsf_NeverSent;
  };
  TRequest* const owner = pool_.FindId(id, inOrder);
  return owner ? owner : pool_.FindId(id, told);
}

void TLedger::OnLine(std::string_view line, std::int64_t now) {
  TAnswer answer;
  answer.code = PkRequestAck;
  answer.text = line;
  TRequest* const owner = LineOwner(line, answer.id);
  if (!owner) return TellStray(answer);
  answer.id = owner->Id();
  OnLineOf(*owner, answer, now);
}

void TLedger::OnLineOf(TRequest& request, const TAnswer& answer, std::int64_t now) {
  const bool inOrder = order_.Has(request);
  if (inOrder) port_.OnAcknowledged(1);
  if (request.IsSent()) {
    roundTrips_[1].Add(now - request.handedNs);
    return TellAnswer(request, vsf_Acknowledged, answer.text.empty() ? vsr_EmptyAck : 0, answer, now);
  }
  TellLate(request, answer);
  if (!inOrder) return;
  --timedOutInOrder_;
  Leave(request);
  Remember(request);
}

bool TLedger::OnPasswordAnswer(std::string_view text, std::int64_t now) {
  for (TRequest* each = others_.First(); each; each = each->place.next) {
    if (each->code != PkSession || !each->IsSent()) continue;
    TAnswer answer;
    answer.text = text;
    TellAnswer(*each, vsf_Answered, 0, answer, now);
    return true;
  }
  return false;
}

}  // namespace VekApi
