// What a session does by itself, inside the client's context: looking at the time, connecting, closing.
#include <algorithm>
#include <new>
#include <utility>

#include "keeper/TSession.h"
#include "platform/runtime/Wipe.h"
#include "protocol/Packet.h"

namespace VekApi {
namespace {

constexpr std::int64_t kNsPerMs = 1'000'000;
constexpr std::int64_t kAgainNs = 100 * kNsPerMs;
constexpr unsigned kAtOnce = 1000;  // events, before everybody else has a turn

}  // namespace

// ---- time: inside the context ----

void TSession::LookAtTime() {
  const std::int64_t now = NowNs();
  if (state_ == vss_Draining && ledger_.Out() == 0 && !ledger_.Going()) WantEnd(vsr_Closed);
  if (now >= stageDue_) {
    stageDue_ = kNever;
    if (state_ == vss_Connecting) WantEnd(vsr_ConnectTimeout);
    if (state_ == vss_SigningOn) WantEnd(vsr_SignOnTimeout);
    if (state_ == vss_Resyncing) WantEnd(vsr_ResyncFailed);
    if (state_ == vss_Draining) WantEnd(vsr_Closed);
  }
  if ((IsLinked() || state_ == vss_Draining) && config_.silenceMs != 0 && hasLink_ && !ended_)
    LookAtSilence();
}

// After half of the time something is sent that may be answered; the other half counts from then, so that a
// computer that slept asks before it judges.
void TSession::LookAtSilence() {
  const std::int64_t now = NowNs();
  const std::int64_t half = config_.silenceMs * kNsPerMs / 2;
  if (probedNs_ < 0 && now >= heardNs_ + half) {
    probedNs_ = now;
    probeDue_ = true;
  } else if (probedNs_ >= 0 && now >= probedNs_ + half) {
    WantEnd(vsr_Silent, true);
  }
}

void TSession::ArmWork() {
  if (workWanted_) return work_.Start(0);
  std::int64_t next = std::min(stageDue_, retryDue_);
  if ((IsLinked() || state_ == vss_Draining) && config_.silenceMs != 0 && hasLink_) {
    const std::int64_t since = probedNs_ >= 0 ? probedNs_ : heardNs_;
    next = std::min(next, since + config_.silenceMs * kNsPerMs / 2);
  }
  if (next != kNever) work_.Start(static_cast<unsigned>(std::min<std::int64_t>(WaitOf(next), INT32_MAX)));
}

void TSession::OnWorkTimer() {
  const auto self = Dstl::wise_ref<TSession>::try_hold(this);
  if (self) Run();
}

// ---- inside the context ----

// Everything that is to be done here, until nothing is left. Called inside itself it leaves that to the outer
// one.
void TSession::Run() {
  const Dstl::wise_ref<TSession> self(this);
  const Dova::TSyncScope inside(Impl().Context());
  if (!inside) return;
  TLock lock(mutex_);
  workWanted_ = false;
  if (std::exchange(running_, true)) return;
  unsigned left = config_.delivery == vsd_Threads ? kAtOnce : 0;
  while (Step(lock) || (left > 0 && left-- > 0 && DeliverOne(lock))) continue;
  running_ = false;
  if (dead_) return;
  ArmWork();
  Leave(lock);
}

// True when something was done.
bool TSession::Step(TLock& lock) try {
  if (dead_) return false;
  LookAtTime();
  if (const int reason = std::exchange(wantedEnd_, 0)) {
    CloseLink(lock, reason, wantedAbrupt_);
  } else if (std::exchange(probeDue_, false)) {
    Probe(lock);
  } else if (ended_ && !ledger_.Going()) {
    FinishEnd();
  } else if (NowNs() >= retryDue_ && HasRoom()) {
    Connect(lock);
  } else {
    return false;
  }
  return true;
} catch (const std::bad_alloc&) {
  if (!lock) lock.lock();
  retryDue_ = std::max(retryDue_, NowNs() + kAgainNs);
  return false;
}

// No new link while the application has not taken what the last ones brought.
bool TSession::HasRoom() {
  if (config_.delivery == vsd_Threads || told_.Size() <= config_.maxEvents / 2) return true;
  retryDue_ = NowNs() + kAgainNs;
  return false;
}

void TSession::CloseLink(TLock& lock, int reason, bool abrupt) {
  if (!hasLink_ || ended_) return;
  const std::uint32_t link = linkNumber_;
  const Dstl::wise_ref<Dova::TMesBase> mes = mes_;
  lock.unlock();
  if (abrupt && mes) mes->SetAbrupt();
  client_.Disconnect();
  lock.lock();
  if (link == linkNumber_) EndLink(reason, {});
}

void TSession::Connect(TLock& lock) {
  const std::string setting = endpoints_[policy_.Upcoming()];
  std::string password = password_;
  const int reason = std::exchange(endReason_, 0);
  ++linkNumber_;
  endpoint_ = policy_.Attempt();
  hasLink_ = true;
  retryDue_ = kNever;
  probedNs_ = -1;
  wantedEnd_ = 0;
  mes_.reset();
  gate_.Restart(rateCount_, rateMs_);
  SetState(vss_Connecting, reason);
  ledger_.BeginLink(linkNumber_);
  stageDue_ = TimeAfter(NowNs(), config_.connectMs);
  lock.unlock();
  client_.Connect(setting, config_.name, config_.version, config_.firstId, config_.secondId, password);
  Dova::WipeText(password);
  lock.lock();
}

// Servers answer nothing to heartbeats; a query is answered.
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
