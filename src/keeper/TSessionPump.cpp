// Hands requests to the link, and handles the timer of gate and deadlines. Any thread.
#include <algorithm>
#include <new>
#include <utility>

#include "keeper/TSession.h"
#include "keeper/Times.h"
#include "platform/os/Thread.h"
#include "platform/runtime/Wipe.h"
#include "protocol/RequestPrefix.h"

namespace VekApi {
namespace {

constexpr int kMessagesAtOnce = 64;  // sent by one thread before it leaves the rest to the timer
constexpr unsigned kNoMemoryMs = 10;

}  // namespace

// One thread at a time sends, including what others have submitted. After kMessagesAtOnce it leaves the rest
// to the timer.
bool TSession::Pump(TLock& lock, std::uint64_t tried, std::int64_t now) {
  bool notTaken = false;
  try {
    for (int count = 0; ledger_.MayTake(); ++count) {
      if (now == 0) now = NowNs();
      if (!ledger_.Take(message_, now)) break;
      goingThread_ = Dova::Os::CurrentThreadToken();
      bytesOut_ += message_.buffer.size();
      ++messagesOut_;
      if (trace_ != 0) TraceTaken();
      lock.unlock();
      TSendNote note{link_->wire, TRequest::kNowhere};
      const bool sent = SendTaken(note);
      lock.lock();
      if (ledger_.OnSent(message_, sent, note.at, tried, now)) notTaken = true;
      now = 0;
      if (closing_) sent_.Set();
      if (count < kMessagesAtOnce) continue;
      PumpIn(0);
      break;
    }
  } catch (const std::bad_alloc&) {
    PumpIn(kNoMemoryMs);
  }
  return notTaken;
}

// Replaces the time due_ was armed for: whatever else is due is handled at this expiry or after it.
void TSession::PumpIn(unsigned ms) {
  dueArmed_ = NowNs() + ms * kNsPerMs;
  due_.Start(ms);
}

// Out of memory: nothing was sent.
bool TSession::SendTaken(TSendNote& note) noexcept try {
  if (message_.code != PkSession) {
    return Impl().SendRequest(message_.code, message_.buffer.data(),
                              static_cast<unsigned>(message_.buffer.size()), note);
  }
  const bool sent = SendPasswords();
  if (sent) note.at = 0;
  return sent;
} catch (const std::bad_alloc&) {
  if (message_.code == PkSession) Dova::WipeText(message_.buffer);
  return false;
}

bool TSession::SendPasswords() {
  std::string texts[3];
  std::size_t from = kPrefixBytes;
  for (std::string& text : texts) {
    text = message_.buffer.c_str() + from;
    from += text.size() + 1;
  }
  const bool sent = client_.ChgPass(texts[0], texts[1], texts[2]);
  for (std::string& text : texts) Dova::WipeText(text);
  Dova::WipeText(message_.buffer);
  return sent;
}

int TSession::TakePlace(int code) {
  if (code == PkRequestAck) return gate_.CheckFlowCtrlWaitAck();
  return code == PkTaskResult ? static_cast<int>(Impl().CheckQueryRate()) : 0;
}

std::uint64_t TSession::TakenBytes() {
  return link_->mes ? link_->mes->TakenBytes() : 0;
}

int TSession::SetRate(std::int32_t count, std::int32_t ms) {
  TLock lock(mutex_);
  rateCount_ = count;
  rateMs_ = ms;
  const bool wasPaced = gate_.IsActive();
  gate_.SetFlowCtrl(count, ms);
  // Requests sent without a rate were not counted, but their acknowledgements will be.
  if (!wasPaced) gate_.AddOut(ledger_.AwaitingLines());
  Leave(lock);
  return 0;
}

int TSession::WaitMs(int code) {
  const TLock lock(mutex_);
  if (!Takes(0)) return -1;
  if (ledger_.Held() > 0) return std::max(ledger_.WaitMs(), -1);
  if (code == PkRequestAck) return gate_.Look();
  return code == PkTaskResult ? std::max(Impl().FlowCtrl().Look(), 0) : 0;
}

// ---- time ----

int TSession::GateWait(int code) {
  return code == PkRequestAck ? gate_.Look() : Impl().FlowCtrl().Look();
}

// Whether a refused caller is waiting to be told that it may try again. It is told only after all held
// requests have gone.
bool TSession::MayOffer() const {
  return (link_->gateWanted[0] || link_->gateWanted[1]) && ledger_.Held() == 0 && Takes(0);
}

void TSession::OfferGate() {
  if (!MayOffer() || ledger_.FullUntil() > NowNs()) return;
  for (const int code : {PkTaskResult, PkRequestAck}) {
    bool& wanted = link_->gateWanted[code == PkRequestAck];
    if (!wanted || GateWait(code) != 0) continue;
    wanted = false;
    ledger_.Tell(vse_Gate, 0, {code, {}, {}, nullptr});
  }
}

// When to check again; kNever if only an event can open the gate, since the event's handler checks.
std::int64_t TSession::GateDue() {
  std::int64_t due = kNever;
  if (!MayOffer()) return due;
  for (const int code : {PkTaskResult, PkRequestAck}) {
    const int wait = link_->gateWanted[code == PkRequestAck] ? GateWait(code) : -1;
    if (wait >= 0) due = std::min(due, std::max(NowNs() + wait * kNsPerMs, ledger_.FullUntil()));
  }
  return due;
}

void TSession::ArmDue() {
  const std::int64_t next = std::min(ledger_.NextDue(), GateDue());
  if (next >= dueArmed_) return;
  dueArmed_ = next;
  due_.Start(static_cast<unsigned>(WaitOf(next)));
}

void TSession::OnDueTimer() {
  const auto self = Dstl::wise_ref<TSession>::try_hold(this);
  if (!self) return;
  TLock lock(mutex_);
  if (IsDead()) return;
  dueArmed_ = kNever;
  ledger_.OnTime(NowNs());
  const std::int64_t handed = ledger_.TakeTimedOut();
  if (handed != 0 && (config_.flags & vsc_CloseOnTimeout) != 0 && !link_->silence.HeardSince(handed))
    WantEnd(vsr_Silent, true);
  if (gate_.IsActive() && ledger_.TimedOutInOrder() >= static_cast<std::uint32_t>(std::max(rateCount_, 1)))
    WantEnd(vsr_AcksMissing);
  Leave(lock);
}

void TSession::Settle(TLock& lock) {
  if (IsDead()) return;
  Pump(lock);
  OfferGate();
  ArmDue();
}

void TSession::Leave(TLock& lock) {
  if (IsDead()) return lock.unlock();
  try {
    Settle(lock);
  } catch (const std::bad_alloc&) {
    PumpIn(kNoMemoryMs);
  }
  Notify();
  lock.unlock();
}

void TSession::Notify() {
  const bool step = link_->IsWanted() || (link_->Ending() && !ledger_.Going()) ||
                    (state_ == vss_Draining && ledger_.Out() == 0 && !ledger_.Going());
  const bool tell = !told_.Empty();
  if (tell && config_.delivery == vsd_Poll) {
    signal_.Set();
    something_.Set();
  }
  if (tell && config_.delivery == vsd_Loop && notice_) notice_->Tell();
  if (!running_ && !workWanted_ && (step || (tell && config_.delivery == vsd_Threads))) {
    workWanted_ = true;
    work_.Start(0);
  }
}

}  // namespace VekApi
