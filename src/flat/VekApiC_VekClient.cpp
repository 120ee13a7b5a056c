#include "flat/VekApiC_VekClient.h"

#include "flat/CallBack.h"
#include "session/TImpl.h"

VekApiC_VekClient::VekApiC_VekClient(const CVekClientCallbacks& callbacks, void* user)
    : client_(*this), callbacks_(callbacks), user_(user) {
  VekApi::TClientParts::ImplOf(client_).SetTextHandler(this);
}

VekApiC_VekClient::VekApiC_VekClient(const CVekClientCallbacks& callbacks, void* user,
                                     VekApi::TTextHandler& between, const TAsOf& asOf)
    : client_(between), callbacks_(callbacks), user_(user), asOf_(&asOf) {
  VekApi::TClientParts::ImplOf(client_).SetTextHandler(&between);
}

bool VekApiC_VekClient::BeginDelete(CVekClient& handle) {
  if (deleting_.exchange(true)) return false;
  handle_ = &handle;
  return true;
}

template <class Callback, class... Args>
void VekApiC_VekClient::Raise(Callback callback, Args... args) {
  VekApi::Flat::CallBack<CVekClient>(callback, this, user_, args...);
}

void VekApiC_VekClient::TellUnknownMsgCode(int msgCode, const char* packet, int length) {
  Raise(callbacks_.OnVekUnknownMsgCodeEvent, msgCode, packet, length);
}

void VekApiC_VekClient::TellConnect(const char* reason) {
  Raise(callbacks_.OnVekConnectEvent, reason);
}

void VekApiC_VekClient::TellApReady() {
  Raise(callbacks_.OnVekApReadyEvent);
}

void VekApiC_VekClient::OnVekTaskResultEvent(VekApi::VekClient&, const VekApi::VekTaskResult& result) {
  const CVekTaskResult handle{&result};
  Raise(callbacks_.OnVekTaskResultEvent, &handle);
}

void VekApiC_VekClient::OnVekChgPassResultEvent(VekApi::VekClient&, const std::string& user,
                                                const std::string& resultText) {
  Raise(callbacks_.OnVekChgPassResultEvent, user.c_str(), resultText.c_str());
}

void VekApiC_VekClient::TellText(int msgCode, const char* text) {
  if (msgCode == VekApi::PkReport) return Raise(callbacks_.OnVekReportEvent, text);
  Raise(callbacks_.OnVekRequestAckEvent, msgCode, text);
}

void VekApiC_VekClient::OnVekClientDestroyEvent(VekApi::VekClient&) {
  if (handle_) handle_->object = nullptr;
  Raise(callbacks_.OnVekClientDestroyEvent);
}
