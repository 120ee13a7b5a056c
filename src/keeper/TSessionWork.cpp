// What a session does on its own, inside the client's context: timeouts, connecting, closing.
#include <algorithm>
#include <new>
#include <utility>

#include "keeper/TSession.h"
#include "keeper/Times.h"
#include "platform/runtime/Wipe.h"
#include "protocol/Packet.h"

namespace VekApi {
namespace {

constexpr std::int64_t kAgainNs = 100 * kNsPerMs;
constexpr unsigned kAtOnce = 1000;  // events delivered before others get a turn

}  // namespace

// ---- time: inside the context ----

void TSession::LookAtStage(std::int64_t now) {
  if (now < link_->stageDue) return;
  link_->stageDue = kNever;
  if (state_ == vss_Connecting) WantEnd(vsr_ConnectTimeout);
  if (state_ == vss_SigningOn) WantEnd(vsr_SignOnTimeout);
  if (state_ == vss_Resyncing) WantEnd(vsr_ResyncFailed);
  if (state_ == vss_Draining) WantEnd(vsr_Closed);
}

// Whether silence ends the link.
bool TSession::IsWatched() const {
  return (IsLinked() || state_ == vss_Draining) && config_.silenceMs != 0 && !link_->Over();
}

// Returns true if the link should be probed.
bool TSession::LookAtTime(std::int64_t now) {
  if (state_ == vss_Draining && ledger_.Out() == 0 && !ledger_.Going()) WantEnd(vsr_Closed);
  LookAtStage(now);
  const auto next = IsWatched() ? link_->silence.Look(now, HalfSilenceNs()) : TSilence::EDo::Nothing;
  if (next == TSilence::EDo::GiveUp) WantEnd(vsr_Silent, true);
  return next == TSilence::EDo::Ask;
}

void TSession::ArmWork() {
  if (workWanted_) return work_.Start(0);
  std::int64_t next = std::min(link_->stageDue, retryDue_);
  if (IsWatched()) next = std::min(next, link_->silence.Due(HalfSilenceNs()));
  if (next != kNever) work_.Start(static_cast<unsigned>(std::min<std::int64_t>(WaitOf(next), INT32_MAX)));
}

void TSession::OnWorkTimer() {
  const auto self = Dstl::wise_ref<TSession>::try_hold(this);
  if (self) Run();
}

// ---- inside the context ----

// Does all pending work of the context. A nested call leaves it to the outer one.
void TSession::Run() {
  const Dstl::wise_ref<TSession> self(this);
  const Dova::TSyncScope inside(Impl().Context());
  if (!inside) return;
  TLock lock(mutex_);
  workWanted_ = false;
  if (std::exchange(running_, true)) return;
  unsigned left = config_.delivery == vsd_Threads ? kAtOnce : 0;
  std::int64_t now = NowNs();
  while (Step(lock, now) || (left > 0 && left-- > 0 && DeliverOne(lock, now))) continue;
  running_ = false;
  if (IsDead()) return;
  ArmWork();
  Leave(lock);
}

// Returns true if something was done.
bool TSession::Step(TLock& lock, std::int64_t& now) try {
  if (IsDead()) return false;
  const bool probe = LookAtTime(now);
  if (link_->IsWanted()) {
    const TKeptLink::TWanted wanted = link_->TakeWanted();
    CloseLink(lock, wanted.reason, wanted.abrupt);
  } else if (probe) {
    Probe(lock);
  } else if (link_->Ending() && !ledger_.Going()) {
    FinishEnd();
  } else if (now >= retryDue_ && HasRoom()) {
    Connect(lock);
  } else {
    return false;
  }
  now = NowNs();
  return true;
} catch (const std::bad_alloc&) {
  if (!lock) lock.lock();
  retryDue_ = std::max(retryDue_, NowNs() + kAgainNs);
  return false;
}

// No new link until the application has caught up with the events of the earlier ones.
bool TSession::HasRoom() {
  if (config_.delivery == vsd_Threads || told_.Size() <= config_.maxEvents / 2) return true;
  retryDue_ = NowNs() + kAgainNs;
  return false;
}

void TSession::CloseLink(TLock& lock, int reason, bool abrupt) {
  const Dstl::wise_ref<TKeptLink> link = link_;
  if (link->Over()) return;
  lock.unlock();
  if (abrupt && link->mes) link->mes->SetAbrupt();
  client_.Disconnect();
  lock.lock();
  EndLink(*link, reason, {});
}

void TSession::Connect(TLock& lock) {
  const std::string setting = endpoints_[policy_.Upcoming()];
  std::string password = password_;
  const Dstl::wise_ref<TKeptLink> last = link_;
  link_ = Dstl::make_ref<TKeptLink>(last->number + 1, policy_.Upcoming());
  policy_.Attempt();
  gate_.Restart(rateCount_, rateMs_);
  SetState(vss_Connecting, last->EndReason(), *last);
  retryDue_ = kNever;
  ledger_.BeginLink(link_->number);
  link_->stageDue = TimeAfter(NowNs(), config_.connectMs);
  lock.unlock();
  client_.Connect(setting, config_.name, config_.version, config_.firstId, config_.secondId, password);
  Dova::WipeText(password);
  lock.lock();
}

void TSession::GoOn(const TPolicy::TNext& next) {
  if (next.stopped != 0) return SetState(vss_Stopped, next.stopped);
  if (!next.newRound) {
    state_ = vss_Connecting;
    retryDue_ = NowNs();
    return;
  }
  const bool byHand = (config_.flags & vsc_RetryByHand) != 0;
  retryDue_ = byHand ? kNever : NowNs() + next.delayMs * kNsPerMs;
  SetState(vss_Waiting, link_->EndReason());
}

void TSession::GoUp() {
  link_->SetUp(NowNs());
  policy_.OnUp();
  SetState(vss_Up, 0);
}

// Servers do not answer heartbeats, but they do answer a query.
void TSession::Probe(TLock& lock) {
  if (!config_.probeQuery.empty() && state_ == vss_Up) SubmitOwn(config_.probeQuery, vsg_Urgent);
  lock.unlock();
  char heartbeat[kHeadBytes];
  PutHead(heartbeat, PkHeartbeat, kHeadBytes);
  OnMessageOut(PkHeartbeat, heartbeat, kHeadBytes);
  Impl().SendPk(heartbeat, kHeadBytes);
  lock.lock();
  Settle(lock);
}

}  // namespace VekApi
