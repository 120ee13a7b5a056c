// The stages of the client's link, and its end. Everything here runs inside the client's context.
#include <new>
#include <utility>

#include "keeper/TSession.h"
#include "keeper/Words.h"
#include "platform/runtime/TextCopy.h"
#include "session/Texts.h"

namespace VekApi {
namespace {

// The reason a session reports for a link's end. Where a specific reason fits both a failed attempt and a
// broken link, the state decides.
int EndOf(EVekClientState state, int reason) {
  const int broad = BroadReason(reason);
  if (state == vcs_LinkError && broad == vsr_LinkBroken) return vsr_ConnectFailed;
  if (state == vcs_LinkBroken && broad == vsr_ConnectFailed) return vsr_LinkBroken;
  return broad;
}

}  // namespace

void TSession::OnVekConnectEvent(VekClient&, const std::string& reason) {
  const Dstl::wise_ref<TSession> self(this);
  const EVekClientState state = client_.State();
  if (state == vcs_SgnError) return OnRefused(reason);
  if (state == vcs_Connected) {
    const TLock lock(mutex_);
    if (state_ != vss_Connecting || link_->Over()) return;
    SetState(vss_SigningOn, 0);
    link_->stageDue = TimeAfter(NowNs(), config_.signOnMs);
  } else if (state < vcs_Disconnected) {
    TWhy why = Impl().Why();
    const int end = EndOf(state, why.reason);
    const bool open = state != vcs_LinkError && state != vcs_LinkBroken;
    TLock lock(mutex_);
    const Dstl::wise_ref<TKeptLink> link = link_;
    if (open) CloseLink(lock, end, end == vsr_Silent);
    EndLink(*link, end, why.detail);
    link->detail = std::move(why.detail);
    link->cause = why.reason;
  } else {
    return;
  }
  Run();
}

// Outstanding requests must not be decided while bytes of them may still leave, so the link has to be closed
// first. Without outstanding requests it stays open for a password change.
void TSession::OnRefused(const std::string& reason) {
  const Dstl::wise_ref<TSession> self(this);
  std::string detail = Dova::CopyIfMemory(reason);
  const int why = reason == kTextSignOnTooLong ? vsr_SignOnTooLong : vsr_SignOnRefused;
  {
    TLock lock(mutex_);
    const Dstl::wise_ref<TKeptLink> link = link_;
    if (link->Over() || state_ == vss_Refused) return;
    link->refused = !closing_;
    link->cause = why;
    if (ledger_.Out() > 0) CloseLink(lock, why, true);
    link->detail = std::move(detail);
    if (!link->Over() && link->refused) {
      ledger_.DropHeld(why, NowNs());
      link->stageDue = kNever;
      CountUp(NowNs());
      SetState(vss_Refused, why);
    }
  }
  Run();
}

void TSession::OnLostAfterRefusal() {
  const Dstl::wise_ref<TSession> self(this);
  {
    const TLock lock(mutex_);
    EndLink(*link_, vsr_LinkBroken, {});
  }
  Run();
}

void TSession::OnVekApReadyEvent(VekClient&) {
  const Dstl::wise_ref<TSession> self(this);
  {
    TLock lock(mutex_);
    if (state_ != vss_SigningOn || link_->Over()) return;
    link_->resyncByHand = (config_.flags & vsc_ResyncByHand) != 0;
    link_->silence.Hear(NowNs());
    if (resync_.empty() && !link_->resyncByHand) {
      GoUp();
    } else {
      SetState(vss_Resyncing, 0);
      link_->stageDue = TimeAfter(NowNs(), config_.resyncMs);
      for (const std::string& query : resync_) SubmitOwn(query, vsg_Resync);
      link_->resyncLeft = static_cast<std::uint32_t>(resync_.size());
    }
    Settle(lock);
  }
  Run();
}

void TSession::OnLinked(const Dstl::wise_ref<Dova::TMesBase>& mes) {
  const TLock lock(mutex_);
  link_->mes = mes;
  ledger_.SetMost(mes->SendQueueBytes());
  link_->silence.Hear(NowNs());
}

void TSession::OnVekChgPassResultEvent(VekClient&, const std::string& /*user*/, const std::string& text) {
  const Dstl::wise_ref<TSession> self(this);
  {
    TLock lock(mutex_);
    if (!ledger_.OnPasswordAnswer(text, NowNs())) Tell(vse_Stray, PkSession, text);
    Settle(lock);
  }
  Run();
}

void TSession::OnSecretSent(int msgCode, const std::string& user) {
  const TLock lock(mutex_);
  ++messagesOut_;
  if (trace_ != 0) Trace(msgCode, vsg_Outbound, user + " ********", 0);
}

}  // namespace VekApi
