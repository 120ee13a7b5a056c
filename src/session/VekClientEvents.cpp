// Passes events of the parser and the link to the client's handler.
#include "protocol/Packet.h"
#include "session/TImpl.h"
#include "session/TLink.h"
#include "session/TLinkWatch.h"
#include "session/Texts.h"
#include "vekapi/VekClient.h"

namespace VekApi {

void VekClient::OnVekConnectEvent(EVekClientState newState, const std::string& reason) {
  if (newState == vcs_LinkBroken && State() == vcs_SgnError) return OnLinkBrokenAfterRefusal();
  if (const int why = ReasonOf(newState, reason)) impl_->SetWhy(why, reason);
  const Dstl::wise_ref<TLink> link = impl_->Link();
  if (newState == vcs_Connected && reason.empty()) {
    const bool sent = SendSignOn();
    if (!link || link->Over()) return;  // the tap may have ended the link
    if (!sent) return OnVekConnectEvent(vcs_SgnError, kTextSignOnTooLong);
  }
  if (link && !link->Over() && !link->TapState(newState, reason)) return;
  // Nothing may fail from here on: otherwise the state would change without an event.
  SetState(newState);
  handler_.OnVekConnectEvent(*this, reason);
}

// The application already knows that the sign-on was refused; the server closing the link afterwards is not
// reported.
void VekClient::OnLinkBrokenAfterRefusal() {
  parser_.SetDisconnected();
  WipeSignOn();
  parser_.State(vcs_SgnError);
  if (TLinkWatch* const watch = impl_->Watch()) watch->OnLostAfterRefusal();
}

void VekClient::SetState(EVekClientState state) {
  parser_.State(state);
  if (impl_->Link()) impl_->Link()->OnState(state);
}

void VekClient::SetQueryRate(int count, int intervalMs) {
  impl_->FlowCtrl().SetFlowCtrl(count, intervalMs);
}

void VekClient::OnVekUnknownMsgCodeEvent(int msgCode, const char* packet, int length) {
  handler_.OnVekUnknownMsgCodeEvent(*this, msgCode, packet, length);
}

void VekClient::OnVekApReadyEvent() {
  const Dstl::wise_ref<TLink> link = impl_->Link();
  if (link && !link->TapState(vcs_ApReady, {})) return;
  SetState(vcs_ApReady);
  handler_.OnVekApReadyEvent(*this);
}

void VekClient::OnVekTaskResultEvent(const VekTaskResult& result) {
  handler_.OnVekTaskResultEvent(*this, result);
}

void VekClient::OnVekChgPassResultEvent(const std::string& user, const std::string& resultText) {
  handler_.OnVekChgPassResultEvent(*this, user, resultText);
}

void VekClient::OnVekRequestAckEvent(int msgCode, const std::string& ackText) {
  handler_.OnVekRequestAckEvent(*this, msgCode, ackText);
}

void VekClient::OnVekReportEvent(const std::string& reportText) {
  handler_.OnVekReportEvent(*this, reportText);
}

}  // namespace VekApi
