#include "keeper/TSession.h"

#include <algorithm>
#include <new>
#include <utility>

#include "keeper/Times.h"
#include "platform/os/Thread.h"
#include "platform/runtime/Wipe.h"

namespace VekApi {
namespace {

constexpr unsigned kStateEvents = 8;  // set aside, so that state changes can be told without memory

TLedgerRules LedgerRules(const TSessionConfig& config) {
  return {config.ackRule, config.idSeparator, config.maxHeld, config.remember};
}

TPolicyRules PolicyRules(const TSessionConfig& config) {
  return {config.maxAttempts, config.firstDelayMs, config.maxDelayMs, config.stableMs, config.maxShortLinks};
}

}  // namespace

TSession::TSession(const TSessionConfig& config)
    : config_(config),
      clock_(Dova::TTimerQueue::Current()),
      ledger_(LedgerRules(config), *this, told_),
      policy_(PolicyRules(config), config.seed),
      ids_(config.prefix, config.seed),
      rateCount_(config.rateCount),
      rateMs_(config.rateMs),
      madeOn_(Dova::Os::CurrentThreadToken()),
      client_(*this),
      due_(Dova::ots_OneShot, *this),
      work_(Dova::ots_OneShot, *this) {
  told_.Reserve(kStateEvents);
  Impl().SetWatch(this);
  Impl().SetTextHandler(this);
  due_.SetTarget(&TSession::OnDueTimer);
  work_.SetTarget(&TSession::OnWorkTimer);
  if (config.delivery == vsd_Loop) notice_.emplace(static_cast<TLoopNotice::TOwner&>(*this));
}

TSession::~TSession() {
  if (polled_) ledger_.OnDelivered(*polled_);
  while (TEvent* const event = told_.Pop()) ledger_.OnDelivered(*event);
  Dova::WipeText(password_);
}

// ---- the application ----

int TSession::Open() {
  const Dstl::wise_ref<TSession> self(this);
  const Dova::TSyncScope inside(Impl().Context());
  if (!inside) return vsr_Busy;
  {
    TLock lock(mutex_);
    const bool idle = state_ == vss_Closed || state_ == vss_Refused || state_ == vss_Stopped;
    if (life_ != ELife::Lives || !idle || link_->Ending() || closing_) return vsr_Busy;
    if (endpoints_.empty()) return vsr_BadArgument;
    CloseLink(lock, vsr_Closed, false);  // a refused link may still be open
    if (ledger_.Going()) return vsr_Busy;
    FinishEnd();
    link_ = TKeptLink::None(link_->number);
    policy_.Begin();
    state_ = vss_Connecting;
    retryDue_ = NowNs();
  }
  Run();
  return 0;
}

int TSession::RetryIn(std::uint32_t ms) {
  TLock lock(mutex_);
  if (state_ != vss_Waiting) return vsr_Busy;
  retryDue_ = NowNs() + std::min<std::int64_t>(ms, INT32_MAX) * kNsPerMs;
  ArmWork();
  return 0;
}

int TSession::ResyncDone(std::uint32_t link, bool good) {
  TLock lock(mutex_);
  const bool asked = state_ == vss_Resyncing && link == link_->number && !link_->Over();
  if (!asked || !std::exchange(link_->resyncByHand, false)) return vsr_TooLate;
  if (!good) {
    WantEnd(vsr_ResyncFailed);
  } else if (link_->resyncLeft == 0) {
    GoUp();
  }
  Leave(lock);
  return 0;
}

void TSession::Close(std::uint32_t drainMs) {
  const Dstl::wise_ref<TSession> self(this);
  {
    TLock lock(mutex_);
    if (state_ == vss_Closed || life_ != ELife::Lives) return;
    closing_ = true;
    const bool linked = IsLinked() || state_ == vss_Draining;
    if (drainMs != 0 && linked && !link_->Over() && Drain(drainMs)) return Leave(lock);
  }
  const Dova::TSyncScope inside(Impl().Context());
  if (!inside) return;
  {
    TLock lock(mutex_);
    CloseLink(lock, vsr_Closed, false);
    AwaitSend(lock);
    FinishEnd();
  }
  Run();
}

// False if there is nothing to wait for.
bool TSession::Drain(std::uint32_t drainMs) {
  const std::int64_t now = NowNs();
  ledger_.DropHeld(vsr_Closed, now);
  if (ledger_.Out() == 0) return false;
  std::int64_t due = TimeAfter(now, drainMs);
  if (state_ == vss_Draining) {
    due = std::min(due, link_->stageDue);
  } else {
    CountUp(now);
    SetState(vss_Draining, 0);
  }
  link_->stageDue = due;
  ArmWork();
  return true;
}

// A thread inside Send will return, because the link is closed.
void TSession::AwaitSend(TLock& lock) {
  while (ledger_.Going() && goingThread_ != Dova::Os::CurrentThreadToken()) {
    lock.unlock();
    sent_.Wait();
    lock.lock();
  }
}

// Requests in a Send further down this thread's own stack count as left.
void TSession::Delete() {
  const Dstl::wise_ref<TSession> self(this);
  {
    const Dova::TSyncScope inside(Impl().Context());
    TLock lock(mutex_);
    if (life_ != ELife::Lives) return;
    life_ = ELife::Deleting;
    closing_ = true;
    CloseLink(lock, vsr_Closed, false);
    AwaitSend(lock);
    ledger_.GiveUpGoing(message_, NowNs());
    FinishEnd();
    const bool tells = config_.delivery == vsd_Threads ||
                       (config_.delivery == vsd_Loop && madeOn_ == Dova::Os::CurrentThreadToken());
    std::int64_t now = NowNs();
    while (tells && DeliverOne(lock, now)) continue;
    life_ = ELife::Dead;
    due_.Stop();
    work_.Stop();
  }
  notice_.reset();
  something_.Set();
  release();
}

// ---- the state ----

void TSession::SetState(int state, int reason, const TKeptLink& of) {
  TNews& event = told_.NewReserved();
  state_ = state;
  event.kind = vse_State;
  event.reason = static_cast<std::int16_t>(reason);
  if (reason != 0) event.cause = reason == vsr_Closed ? reason : of.cause;
  event.attempt = policy_.Attempts();
  event.link = link_->number;
  event.neverSent = ledger_.TakeEndedNeverSent();
  event.unknown = ledger_.TakeEndedUnknown();
  if (state == vss_Waiting) event.waitMs = WaitOf(retryDue_);
  try {
    if (reason != 0) event.detail = of.detail;
    if (state == vss_Resyncing || state == vss_Up) {
      event.TakeResult(client_.SgnResult());
    }
  } catch (const std::bad_alloc&) {  // the state is told without
  }
  Stamp(event);
  told_.Push(event);
  if (state == vss_Closed || state == vss_Refused || state == vss_Stopped) Dova::WipeText(password_);
}

// The link must be closed already.
void TSession::EndLink(TKeptLink& link, int reason, std::string_view detail) {
  if (link.End(reason, detail)) ledger_.EndLink(reason, NowNs());
}

// Returns the time the link was up, negative if it was not.
std::int64_t TSession::CountUp(std::int64_t now) {
  const std::int64_t up = link_->TakeUp(now);
  upNs_ += std::max<std::int64_t>(up, 0);
  return up;
}

// Acts only once all requests of the link have their fates.
void TSession::FinishEnd() {
  if (ledger_.Going()) return;
  const std::int64_t up = CountUp(NowNs());
  const bool ended = link_->Finish();
  if (closing_) {
    closing_ = false;
    retryDue_ = kNever;
    if (state_ != vss_Closed) SetState(vss_Closed, vsr_Closed);
  } else if (link_->refused) {
    if (ended && state_ != vss_Refused) SetState(vss_Refused, link_->EndReason());
  } else if (ended && state_ != vss_Closed) {
    GoOn(policy_.OnEnd(up));
  }
}

}  // namespace VekApi
