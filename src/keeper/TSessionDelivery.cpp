// Delivers events to the application.
#include <algorithm>
#include <chrono>
#include <utility>

#include "keeper/TSession.h"
#include "keeper/Times.h"
#include "platform/os/Thread.h"

namespace VekApi {
namespace {

constexpr std::int64_t kTurnNs = 10 * kNsPerMs;  // in one turn of a message loop
constexpr int kTurnEvents = 1000;
constexpr std::int64_t kSlowNs = 1000 * kNsPerMs;

std::int64_t UnixNs() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

}  // namespace

void TSession::Stamp(TEvent& event) {
  event.state = static_cast<std::uint8_t>(state_);
  event.unixNs = UnixNs();
  if (event.atNs == 0) event.atNs = NowNs();
  event.endpoint = link_->endpoint;
  if (event.isRequest && (event.flags & vsg_Resync) != 0 && event.fate != vsf_Answered &&
      static_cast<TRequest&>(event).own)
    WantEnd(vsr_ResyncFailed);
  if (config_.delivery != vsd_Threads && told_.Size() >= config_.maxEvents) WantEnd(vsr_SlowConsumer);
}

CVekEvent TSession::Show(const TEvent& event) const {
  CVekEvent shown{};
  shown.size = sizeof shown;
  shown.kind = event.kind;
  shown.state = event.state;
  shown.fate = event.fate;
  shown.reason = event.reason;
  shown.code = event.code;
  shown.flags = event.flags;
  shown.link = event.link;
  shown.endpoint = event.endpoint;
  shown.ticket = event.ticket;
  shown.tag = event.tag;
  shown.atNs = event.atNs;
  shown.unixNs = event.unixNs;
  shown.submittedNs = event.submittedNs;
  shown.handedNs = event.handedNs;
  shown.workId = event.workId;
  shown.text = event.Text().c_str();
  shown.textLength = static_cast<std::uint32_t>(event.Text().size());
  if (event.hasResult) shown.result.object = &event.result;
  shown.detail = "";
  if (event.isRequest) return shown;
  const auto& news = static_cast<const TNews&>(event);
  shown.cause = news.cause;
  shown.attempt = news.attempt;
  shown.waitMs = news.waitMs;
  shown.neverSent = news.neverSent;
  shown.unknown = news.unknown;
  shown.detail = news.detail.c_str();
  return shown;
}

// Called with the lock held; releases it during the callback. False if there is no event.
bool TSession::DeliverOne(TLock& lock, std::int64_t& now) {
  if (IsDead()) return false;
  TEvent* const event = told_.Pop();
  if (!event) return false;
  lock.unlock();
  const std::int64_t begun = now;
  Call(*event);
  now = NowNs();
  lock.lock();
  // Nobody read the link during the callback, so that time does not count as its silence.
  const std::int64_t took = now - begun;
  if (took > kSlowNs && config_.delivery == vsd_Threads) link_->silence.Postpone(took);
  CountResync(*event);
  ledger_.OnDelivered(*event);
  return true;
}

// Counts the resync queries whose results have reached the application. After the last one the session is up,
// unless resync is by hand.
void TSession::CountResync(const TEvent& event) {
  const bool resynced = event.isRequest && event.kind == vse_Fate && event.fate == vsf_Answered &&
                        (event.flags & vsg_Resync) != 0 && static_cast<const TRequest&>(event).own;
  if (!resynced || event.link != link_->number || state_ != vss_Resyncing || link_->Over()) return;
  if (--link_->resyncLeft == 0 && !link_->resyncByHand) GoUp();
}

void TSession::Call(const TEvent& event) {
  const CVekEvent shown = Show(event);
  const std::uintptr_t outer = callbackThread_.exchange(Dova::Os::CurrentThreadToken());
  config_.tell(*this, config_, shown);
  callbackThread_.store(outer);
}

bool TSession::InCallback() const {
  return callbackThread_.load() == Dova::Os::CurrentThreadToken();
}

// On the thread of the message loop. Delivers a bounded number, so that the loop's other messages get a turn.
void TSession::OnTold() {
  const Dstl::wise_ref<TSession> self(this);
  TLock lock(mutex_);
  std::int64_t now = NowNs();
  const std::int64_t due = now + kTurnNs;
  for (int count = 0; count < kTurnEvents && now < due; ++count) {
    if (!DeliverOne(lock, now)) break;
  }
  if (IsDead()) return;
  if (!told_.Empty()) notice_->TellLast();
  Leave(lock);
}

int TSession::WaitOf(std::int64_t dueNs) const {
  if (dueNs == kNever) return -1;
  return static_cast<int>(std::max<std::int64_t>(dueNs - NowNs() + kNsPerMs - 1, 0) / kNsPerMs);
}

int TSession::Next(int timeoutMs, CVekEvent& event) {
  if (config_.delivery != vsd_Poll) return -1;
  const Dstl::wise_ref<TSession> self(this);
  const std::int64_t due = NowNs() + std::max(timeoutMs, 0) * kNsPerMs;
  TLock lock(mutex_);
  if (TEvent* const last = std::exchange(polled_, nullptr)) ledger_.OnDelivered(*last);
  while (!IsDead()) {
    if (TEvent* const next = polled_ = told_.Pop()) {
      if (told_.Empty()) signal_.Clear();
      event = Show(*next);
      CountResync(*next);
      Leave(lock);
      return 1;
    }
    lock.unlock();
    const int left = timeoutMs < 0 ? Dova::Os::TEvent::kForever : WaitOf(due);
    if (left == 0 || !something_.Wait(left)) return 0;
    lock.lock();
  }
  return -1;
}

std::intptr_t TSession::WaitHandle() {
  const TLock lock(mutex_);
  return config_.delivery == vsd_Poll ? signal_.Handle() : Dova::Os::TSignal::kNone;
}

}  // namespace VekApi
