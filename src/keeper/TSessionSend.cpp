// Requests that come in. Any thread; never inside the context, unless the caller is.
#include <algorithm>
#include <new>
#include <utility>

#include "keeper/TSession.h"
#include "platform/runtime/Wipe.h"
#include "protocol/Packet.h"

namespace VekApi {
namespace {

constexpr std::int64_t kNsPerMs = 1'000'000;
constexpr std::uint32_t kMostText = 16u << 20;
constexpr std::size_t kMostPassword = 255;

// 0: for ever.
std::uint32_t Ms(std::uint32_t wanted, std::uint32_t configured) {
  const std::uint32_t ms = wanted == 0 ? configured : wanted;
  return ms > INT32_MAX ? 0 : ms;
}

bool IsCode(std::int32_t code) {
  return code > PkBigPart && code <= 0xFFF;
}

}  // namespace

// ---- the application ----

int TSession::Check(const CVekSubmit& request, std::string_view id, bool made) const {
  constexpr std::uint32_t kFlags = vsg_Resync | vsg_Urgent | vsg_Duplicate;
  const bool numbers = IsCode(request.code) && (request.flags & ~kFlags) == 0 &&
                       (request.mode == vsm_Try || request.mode == vsm_Hold);
  if (!numbers || (!request.text && request.textLength != 0)) return vsr_BadArgument;
  if (request.textLength > kMostText) return vsr_BadText;
  if (!made && !id.empty() && !IsWorkId(id, config_.idSeparator)) return vsr_BadText;
  if (id.empty() && request.code == PkRequestAck && config_.ackRule == vsa_ByWorkId) return vsr_BadText;
  return IsRequestText(request.code, {request.text, request.textLength}, id, made) ? 0 : vsr_BadText;
}

bool TSession::Takes(std::uint32_t flags) const {
  if (ended_ || wantedEnd_ != 0 || closing_) return false;
  return state_ == vss_Up || (state_ == vss_Resyncing && (flags & vsg_Resync) != 0);
}

int TSession::Submit(const CVekSubmit& request, CVekReceipt& receipt) {
  TLock lock(mutex_);
  int reason = 0;
  try {
    reason = Enter(request, lock, receipt);
  } catch (const std::bad_alloc&) {
    if (!lock) lock.lock();
    reason = vsr_NoMemory;
  }
  if (reason != 0) ledger_.CountRefused();
  Leave(lock);
  return reason;
}

int TSession::Enter(const CVekSubmit& request, TLock& lock, CVekReceipt& receipt) {
  if (!Takes(request.flags)) return vsr_NotUp;
  const bool made = !request.workId;
  if (made) ids_.Next(receipt.workId);
  const std::string_view id = made ? receipt.workId : request.workId;
  if (const int reason = Check(request, id, made)) return reason;
  if (!made) receipt.workId[id.copy(receipt.workId, kIdRoom - 1)] = 0;
  TNewRequest wanted;
  wanted.code = request.code;
  wanted.flags = request.flags;
  wanted.tried = request.mode == vsm_Try;
  wanted.putIdInFront = made;
  wanted.id = id;
  wanted.text = {request.text, request.textLength};
  const std::int64_t now = NowNs();
  const std::uint32_t holdMs = Ms(request.holdMs, config_.holdMs);
  if (holdMs != 0) wanted.holdUntilNs = now + holdMs * kNsPerMs;
  wanted.answerMs = Ms(request.answerMs, config_.answerMs);
  wanted.replaces = request.replaces;
  wanted.tag = request.tag;
  TRequest* entered = nullptr;
  int reason = ledger_.Submit(wanted, now, entered);
  receipt.link = linkNumber_;
  if (reason == 0) {
    receipt.ticket = entered->ticket;
    if (Pump(lock, wanted.tried ? receipt.ticket : 0, now)) reason = vsr_LinkFull;
  }
  if (reason == vsr_TooFast || reason == vsr_LinkFull) gateWanted_[request.code == PkRequestAck] = true;
  if (reason != 0) {
    receipt.ticket = 0;
    receipt.waitMs = reason == vsr_TooFast ? std::max(ledger_.WaitMs(), 1) : 0;
    if (reason == vsr_TooFast && ledger_.WaitMs() < 0) receipt.waitMs = -1;
    return reason;
  }
  const TRequest* const still = ledger_.Find(receipt.ticket);
  if (still && still->phase == EPhase::Held) {
    receipt.ahead = ledger_.Ahead(*still);
    receipt.waitMs = ledger_.Going() ? 0 : ledger_.WaitMs();
  }
  return 0;
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
  int reason = 0;
  TLock lock(mutex_);
  const TRequest* const pending = ledger_.Find(passwordTicket_);
  const bool linked = hasLink_ && !ended_ && wantedEnd_ == 0 && !closing_;
  if (!linked || (state_ != vss_Up && state_ != vss_Refused)) return vsr_NotUp;
  if (pending && pending->Undecided()) return vsr_Busy;
  try {
    texts.reserve(3 * (kMostPassword + 1));
    for (const char* text : {user, before, after}) {
      const std::string_view part = text ? text : "";
      if (part.size() > kMostPassword) reason = vsr_BadText;
      if (part.size() <= kMostPassword) texts.append(part).push_back('\0');
    }
    TNewRequest wanted;
    wanted.code = PkSession;
    wanted.flags = vsg_Urgent;
    wanted.text = texts;
    wanted.answerMs = config_.answerMs;
    wanted.tag = tag;
    TRequest* entered = nullptr;
    if (reason == 0) reason = ledger_.Submit(wanted, NowNs(), entered);
    if (reason == 0) passwordTicket_ = receipt.ticket = entered->ticket;
  } catch (const std::bad_alloc&) {
    reason = vsr_NoMemory;
  }
  Dova::WipeText(texts);
  receipt.link = linkNumber_;
  Leave(lock);
  return reason;
}

void TSession::SubmitOwn(const std::string& query, std::uint32_t flags) {
  char id[kIdRoom];
  TNewRequest wanted;
  wanted.code = PkTaskResult;
  wanted.flags = flags;
  wanted.own = true;
  wanted.putIdInFront = true;
  wanted.id = {id, ids_.Next(id)};
  wanted.text = query;
  wanted.answerMs = config_.answerMs;
  TRequest* entered = nullptr;
  if (ledger_.Submit(wanted, NowNs(), entered) != 0 && (flags & vsg_Resync) != 0) WantEnd(vsr_ResyncFailed);
}

}  // namespace VekApi
