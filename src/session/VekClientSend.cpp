// Packets with passwords, and the application's sends.
#include <new>

#include "protocol/PasswordChange.h"
#include "protocol/SignOn.h"
#include "session/TImpl.h"
#include "session/TLink.h"
#include "session/TLinkWatch.h"
#include "session/Texts.h"
#include "vekapi/VekClient.h"

namespace VekApi {
void VekClient::EncPacket(char* packet, int length) const {
  parser_.EncPacket(packet, length);
}

bool VekClient::SendPk(char* packet, int length) {
  return impl_->SendPk(packet, length);
}

// False if the texts are too long.
bool VekClient::SendSignOn() {
  TSecretPacket packet = MakeSignOnRequest(sgnId_, sgnPass_);
  if (!packet) return false;
  if (TLinkWatch* const watch = impl_->Watch()) watch->OnSecretSent(PkSession, sgnId_);
  SendPk(packet.Data(), packet.Length());
  return true;
}

bool VekClient::ChgPass(const std::string& user, const std::string& oldPass, const std::string& newPass) try {
  const Dstl::wise_ref<TImpl> impl(impl_);
  const auto link = impl->LinkNow();
  if (!IsSessionConnected()) return false;
  TSecretPacket packet = MakeChgPassRequest(user, oldPass, newPass);
  if (TLinkWatch* const watch = packet ? impl->Watch() : nullptr) watch->OnSecretSent(PkSession, user);
  if (packet) return SendPk(packet.Data(), packet.Length());
  const Dova::TSyncScope inside(impl->Context());
  if (inside && link && impl->Link().get() == link.get())
    handler_.OnVekChgPassResultEvent(*this, user, kTextChgPassTooLong);
  return false;
} catch (const std::bad_alloc&) {
  return false;
}

bool VekClient::SendVekRequest(int msgCode, char* buffer, unsigned length) {
  if (msgCode == PkTaskResult && impl_->CheckQueryRate() != 0) return false;
  return SendVekRequestImpl(msgCode, buffer, length);
}

int VekClient::SendVekQueryRequest(char* buffer, unsigned length) {
  const auto waitMs = static_cast<int>(impl_->CheckQueryRate());
  if (waitMs > 0) return waitMs;
  return SendVekRequestImpl(PkTaskResult, buffer, length) ? 0 : -1;
}

TRequestPort& VekClient::RequestPort() const {
  return *impl_;
}

bool VekClient::SendVekRequestImpl(int msgCode, char* buffer, unsigned length) {
  return impl_->SendRequest(msgCode, buffer, length);
}

}  // namespace VekApi
