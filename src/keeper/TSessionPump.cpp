// Handing requests to the link, and the timer of gate and deadlines. Any thread.
#include <algorithm>
#include <new>
#include <utility>

#include "keeper/TSession.h"
#include "platform/os/Thread.h"
#include "platform/runtime/Wipe.h"
#include "protocol/RequestPrefix.h"

namespace VekApi {
namespace {

constexpr std::int64_t kNsPerMs = 1'000'000;
constexpr int kMessagesAtOnce = 64;  // that one thread sends for others
constexpr unsigned kNoMemoryMs = 10;

}  // namespace

// One thread at a time sends, whatever is to be sent; after a while it leaves the rest to the timer.
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
      std::uint64_t at = TRequest::kNowhere;
      const bool sent = SendTaken(at);
      lock.lock();
      if (ledger_.OnSent(message_, sent, at, tried, now)) notTaken = true;
      now = 0;
      if (closing_) sent_.Set();
      if (count < kMessagesAtOnce) continue;
      due_.Start(0);
      break;
    }
  } catch (const std::bad_alloc&) {
    due_.Start(kNoMemoryMs);
  }
  return notTaken;
}

// Without memory nothing was taken.
bool TSession::SendTaken(std::uint64_t& at) noexcept try {
  if (message_.code != PkSession) {
    return Impl().SendRequestAt(message_.code, message_.buffer.data(),
                                static_cast<unsigned>(message_.buffer.size()), &at);
  }
  const bool sent = SendPasswords();
  if (sent) at = 0;
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
  return mes_ ? mes_->TakenBytes() : 0;
}

int TSession::SetRate(std::int32_t count, std::int32_t ms) {
  TLock lock(mutex_);
  rateCount_ = count;
  rateMs_ = ms;
  const bool wasPaced = gate_.IsActive();
  gate_.SetFlowCtrl(count, ms);
  // What was sent without a rate was not counted, but its acknowledgements will be.
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

// To who tried in vain, once it may go.
void TSession::OfferGate() {
  for (const bool orders : {false, true}) {
    if (!gateWanted_[orders] || ledger_.Held() > 0 || ledger_.IsFull() || !Takes(0)) continue;
    if ((orders ? gate_.Look() : Impl().FlowCtrl().Look()) != 0) continue;
    gateWanted_[orders] = false;
    ledger_.Tell(vse_Gate, 0, {orders ? PkRequestAck : PkTaskResult, {}, {}, nullptr});
  }
}

void TSession::ArmDue() {
  std::int64_t next = ledger_.NextDue();
  for (const bool orders : {false, true}) {
    if (!gateWanted_[orders]) continue;
    const int wait = orders ? gate_.Look() : Impl().FlowCtrl().Look();
    if (wait >= 0) next = std::min(next, NowNs() + std::max(wait, 1) * kNsPerMs);
  }
  if (next >= dueArmed_) return;
  dueArmed_ = next;
  due_.Start(static_cast<unsigned>(WaitOf(next)));
}

void TSession::OnDueTimer() {
  const auto self = Dstl::wise_ref<TSession>::try_hold(this);
  if (!self) return;
  TLock lock(mutex_);
  if (dead_) return;
  dueArmed_ = kNever;
  ledger_.OnTime(NowNs());
  const std::int64_t handed = ledger_.TakeTimedOut();
  if (handed != 0 && (config_.flags & vsc_CloseOnTimeout) != 0 && heardNs_ < handed)
    WantEnd(vsr_Silent, true);
  if (gate_.IsActive() && ledger_.TimedOutInOrder() >= static_cast<std::uint32_t>(std::max(rateCount_, 1)))
    WantEnd(vsr_AcksMissing);
  Leave(lock);
}

void TSession::Settle(TLock& lock) {
  if (dead_) return;
  Pump(lock);
  if (gateWanted_[0] || gateWanted_[1]) OfferGate();
  ArmDue();
}

void TSession::Leave(TLock& lock) {
  if (dead_) return lock.unlock();
  try {
    Settle(lock);
  } catch (const std::bad_alloc&) {
    due_.Start(kNoMemoryMs);
  }
  Notify();
  lock.unlock();
}

void TSession::Notify() {
  const bool step = wantedEnd_ != 0 || (ended_ && !ledger_.Going()) ||
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
