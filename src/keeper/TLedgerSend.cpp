// Hands requests to the link.
#include <algorithm>
#include <utility>

#include "keeper/TLedger.h"
#include "keeper/Times.h"
#include "platform/runtime/Wipe.h"
#include "protocol/RequestPrefix.h"

namespace VekApi {
namespace {

constexpr std::int64_t kFullNs = 5 * kNsPerMs;
constexpr std::size_t kMaxParts = 256;

// Requests with equal results wait for the same places.
int LimitOf(const TRequest& request) {
  return request.code == PkTaskResult || request.code == PkRequestAck ? request.code : 0;
}

}  // namespace

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
  // Both need the same places, and the urgent one goes first.
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
  if (message.code == PkRequestAck && Held() > 1) message.buffer.reserve(kPrefixBytes + kMaxPiece);
  do {
    Append(message, *request, now);
    request = NextOfBatch(message, now);
  } while (request);
  going_ = true;
  return true;
}

// Null if nothing more goes into the message. What fits needs no allocation.
TRequest* TLedger::NextOfBatch(const TMessage& message, std::int64_t now) {
  if (message.code != PkRequestAck || message.parts.size() >= kMaxParts) return nullptr;
  TRequest* const next = urgent_.Empty() ? normal_.First() : urgent_.First();
  if (!next || next->code != PkRequestAck) return nullptr;
  const std::size_t length = message.buffer.size() + 1 + next->text.size();
  if (length > std::min<std::size_t>(kPrefixBytes + kMaxPiece, most_)) return nullptr;
  return Place(*next, now) ? next : nullptr;
}

// The time is noted here, because the answer may arrive before Send returns.
void TLedger::Append(TMessage& message, TRequest& request, std::int64_t now) {
  if (!message.parts.empty()) message.buffer.push_back('\n');
  message.buffer.append(request.text);
  message.parts.push_back({&request, request.ticket});
  Leave(request);
  due_.Remove(request);
  request.phase = EPhase::Going;
  request.handedNs = now;
  (request.code == PkRequestAck ? order_ : others_).PushBack(request);
  ++out_;
}

bool TLedger::OnSent(TMessage& message, bool sent, std::uint64_t at, std::uint64_t tried, std::int64_t now) {
  going_ = false;
  const bool taken = sent || at != TRequest::kNowhere;
  if (!taken || ended_) return TakeBack(message, at, tried, now);
  for (const TMessage::TPart& part : message.parts) {
    if (part.IsGoing()) SetOut(*part.request, at, now);
  }
  return false;
}

// Takes back what the link refused, or was being handed when it ended. In reverse, so that the lanes regain
// their order.
bool TLedger::TakeBack(TMessage& message, std::uint64_t at, std::uint64_t tried, std::int64_t now) {
  if (!ended_) fullUntil_ = now + kFullNs;
  bool forgotten = false;
  for (auto part = message.parts.rbegin(); part != message.parts.rend(); ++part) {
    if (!part->IsGoing()) continue;
    TRequest& request = *part->request;
    request.at = at;
    if (at == TRequest::kNowhere) request.handedNs = 0;
    if (ended_) {
      TellByBytes(request, now);
    } else if (request.ticket == tried) {
      --out_;
      if (request.code == PkRequestAck) port_.GiveBack(1);
      pool_.Free(request);
      forgotten = true;
    } else {
      Return(request, now);
    }
  }
  return forgotten;
}

// Puts the request back at the head of its lane.
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
  const bool answered = request.code == PkRequestAck || request.code == PkSession ||
                        (request.code == PkTaskResult && request.idLength != 0);
  if (!answered) return Tell(request, vsf_Left, 0, now);
  if (request.code == PkSession) Dova::WipeText(request.text);
  due_.Put(request, request.answerMs == 0 ? TRequest::kNever : now + request.answerMs * kNsPerMs);
}

}  // namespace VekApi
