// Accepts requests. Any thread; inside the context only if the caller is.
#include <algorithm>
#include <initializer_list>
#include <new>
#include <utility>

#include "keeper/TSession.h"
#include "platform/runtime/Wipe.h"
#include "protocol/Packet.h"

namespace VekApi {
namespace {

constexpr std::uint32_t kMostText = 16u << 20;

// Returns 0 for forever.
std::uint32_t Ms(std::uint32_t wanted, std::uint32_t configured) {
  const std::uint32_t ms = wanted == 0 ? configured : wanted;
  return ms > INT32_MAX ? 0 : ms;
}

bool IsCode(std::int32_t code) {
  return code > PkBigPart && code <= 0xFFF;
}

// Joins the texts, each followed by a NUL. False if one is too long. Reserves all memory first: growing would
// leave copies of passwords behind.
bool Join(std::initializer_list<const char*> texts, std::string& joined) {
  joined.reserve(texts.size() * (kMostPassword + 1));
  for (const char* text : texts) {
    const std::string_view part = text ? text : "";
    if (part.size() > kMostPassword) return false;
    joined.append(part).push_back('\0');
  }
  return true;
}

}  // namespace

// ---- the application ----

int TSession::Check(const CVekSubmit& request, const TNewRequest& wanted) const {
  constexpr std::uint32_t kFlags = vsg_Resync | vsg_Urgent | vsg_Duplicate;
  const bool numbers = IsCode(request.code) && (request.flags & ~kFlags) == 0 &&
                       (request.mode == vsm_Try || request.mode == vsm_Hold);
  if (!numbers || (!request.text && request.textLength != 0)) return vsr_BadArgument;
  if (request.textLength > kMostText) return vsr_BadText;
  if (!wanted.putIdInFront && !wanted.id.empty() && !IsWorkId(wanted.id, config_.idSeparator))
    return vsr_BadText;
  if (wanted.id.empty() && request.code == PkRequestAck && config_.ackRule == vsa_ByWorkId)
    return vsr_BadText;
  return IsRequestText(request.code, wanted.text, wanted.id, wanted.putIdInFront) ? 0 : vsr_BadText;
}

bool TSession::Takes(std::uint32_t flags) const {
  if (link_->Over() || link_->IsWanted() || closing_) return false;
  return state_ == vss_Up || (state_ == vss_Resyncing && (flags & vsg_Resync) != 0);
}

int TSession::Submit(const CVekSubmit& request, CVekReceipt& receipt) {
  TLock lock(mutex_);
  int reason = 0;
  try {
    reason = Enter(request, lock, receipt);
  } catch (const std::bad_alloc&) {
    reason = vsr_NoMemory;
  }
  Explain(request, reason, receipt);
  Leave(lock);
  return reason;
}

TNewRequest TSession::WantedBy(const CVekSubmit& request, CVekReceipt& receipt, std::int64_t now) {
  TNewRequest wanted;
  wanted.putIdInFront = !request.workId;
  wanted.id = request.workId ? std::string_view(request.workId) : ids_.Next();
  receipt.workId[wanted.id.copy(receipt.workId, kIdRoom - 1)] = 0;
  wanted.code = request.code;
  wanted.flags = request.flags;
  wanted.tried = request.mode == vsm_Try;
  wanted.text = {request.text, request.textLength};
  wanted.holdUntilNs = TimeAfter(now, Ms(request.holdMs, config_.holdMs));
  wanted.answerMs = Ms(request.answerMs, config_.answerMs);
  wanted.replaces = request.replaces;
  wanted.tag = request.tag;
  return wanted;
}

int TSession::Enter(const CVekSubmit& request, TLock& lock, CVekReceipt& receipt) {
  if (!Takes(request.flags)) return vsr_NotUp;
  const std::int64_t now = NowNs();
  const TNewRequest wanted = WantedBy(request, receipt, now);
  if (const int reason = Check(request, wanted)) return reason;
  TRequest* entered = nullptr;
  receipt.link = link_->number;
  if (const int reason = ledger_.Submit(wanted, now, entered)) return reason;
  if (wanted.putIdInFront) ids_.GoOn();
  receipt.ticket = entered->ticket;
  return Pump(lock, wanted.tried ? receipt.ticket : 0, now) ? vsr_LinkFull : 0;
}

// Fills in the immediate outcome.
void TSession::Explain(const CVekSubmit& request, int reason, CVekReceipt& receipt) {
  if (reason != 0) {
    ledger_.CountRefused();
    receipt.ticket = 0;
    if (reason == vsr_TooFast) receipt.waitMs = ledger_.WaitMs() < 0 ? -1 : std::max(ledger_.WaitMs(), 1);
    if (reason == vsr_TooFast || reason == vsr_LinkFull)
      link_->gateWanted[request.code == PkRequestAck] = true;
  } else if (ledger_.Held() > 0) {
    const TRequest* const held = ledger_.Find(receipt.ticket);
    if (!held || held->phase != EPhase::Held) return;
    receipt.ahead = ledger_.Ahead(*held);
    receipt.waitMs = ledger_.Going() ? 0 : ledger_.WaitMs();
  }
}

int TSession::Withdraw(std::uint64_t ticket) {
  TLock lock(mutex_);
  const int reason = ledger_.Withdraw(ticket, vsr_Withdrawn, NowNs());
  Leave(lock);
  return reason;
}

int TSession::ChangePassword(const char* user, const char* before, const char* after, std::uint64_t tag,
                             CVekReceipt& receipt) {
  std::string texts;
  TLock lock(mutex_);
  if (const int reason = WhyNoPasswords()) return reason;
  int reason = 0;
  try {
    if (!Join({user, before, after}, texts)) {
      reason = vsr_BadText;
    } else {
      reason = SubmitPasswords(texts, tag, receipt);
    }
  } catch (const std::bad_alloc&) {
    reason = vsr_NoMemory;
  }
  Dova::WipeText(texts);
  receipt.link = link_->number;
  Leave(lock);
  return reason;
}

int TSession::WhyNoPasswords() const {
  const bool linked = !link_->Over() && !link_->IsWanted() && !closing_;
  if (!linked || (state_ != vss_Up && state_ != vss_Refused)) return vsr_NotUp;
  const TRequest* const pending = ledger_.Find(passwordTicket_);
  return pending && pending->Undecided() ? vsr_Busy : 0;
}

int TSession::SubmitPasswords(const std::string& texts, std::uint64_t tag, CVekReceipt& receipt) {
  TNewRequest wanted;
  wanted.code = PkSession;
  wanted.flags = vsg_Urgent;
  wanted.text = texts;
  wanted.answerMs = config_.answerMs;
  wanted.tag = tag;
  TRequest* entered = nullptr;
  const int reason = ledger_.Submit(wanted, NowNs(), entered);
  if (reason == 0) passwordTicket_ = receipt.ticket = entered->ticket;
  return reason;
}

void TSession::SubmitOwn(const std::string& query, std::uint32_t flags) {
  TNewRequest wanted;
  wanted.code = PkTaskResult;
  wanted.flags = flags;
  wanted.own = true;
  wanted.putIdInFront = true;
  wanted.id = ids_.Next();
  wanted.text = query;
  wanted.answerMs = config_.answerMs;
  TRequest* entered = nullptr;
  const int reason = ledger_.Submit(wanted, NowNs(), entered);
  ids_.GoOn();
  if (reason != 0 && (flags & vsg_Resync) != 0) WantEnd(vsr_ResyncFailed);
}

}  // namespace VekApi
