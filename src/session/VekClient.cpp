#include "vekapi/VekClient.h"

#include "platform/mbus/Wipe.h"
#include "protocol/Packet.h"
#include "protocol/Texts.h"
#include "session/TCall.h"
#include "session/TImpl.h"

namespace VekApi {

VekClient::VekClient(VekClientHandler& handler) : VekClient(handler, new TImpl(nullptr)) {}

VekClient::VekClient(VekClientHandler& handler, TImpl* impl)
    : handler_(handler), parser_(*this), impl_(impl) {
  impl_->add_ref();
  impl_->AddOwner(this);
}

VekClient::VekClient(const VekClient& other)
    : handler_(other.handler_),
      parser_(other.parser_, *this),
      apName_(other.apName_),
      apVersion_(other.apVersion_),
      sgnId_(other.sgnId_),
      sgnPass_(other.sgnPass_),
      impl_(other.impl_) {
  impl_->add_ref();
  const Dova::TSyncScope inside(impl_->Context());
  impl_->AddOwner(this);
}

VekClient::~VekClient() {
  {
    const Dstl::wise_ref<TImpl> impl(impl_);
    const Dova::TSyncScope inside(impl->Context());
    handler_.OnVekClientDestroyEvent(*this);
    if (impl->RemoveOwner(this)) {
      impl->CloseSession();
      impl->Context()->Abort();
    }
    WipeSignOn();
  }
  impl_->release();
}

EVekClientState VekClient::State() const {
  return parser_.State();
}

bool VekClient::IsSessionConnected() const {
  const EVekClientState state = State();
  return state >= vcs_Connected || state == vcs_SgnError;
}

const VekTaskResult& VekClient::SgnResult() const {
  return parser_.SgnResult();
}

const std::string& VekClient::ServerName() const {
  return parser_.ServerName();
}

void VekClient::Connect(const std::string& setting, const std::string& apName, const std::string& apVersion,
                        const std::string& id1, const std::string& id2, const std::string& pass) {
  TCall call(*this);
  if (!call || !SetDisconnect(call)) return;
  apName_ = apName;
  apVersion_ = apVersion;
  sgnId_ = id1 + "/" + id2;
  sgnPass_ = pass;
  parser_.State(vcs_Connecting);
  const char* error = impl_->OpenSession(setting, apName_, apVersion_);
  if (!error || call.Overtaken()) return;
  parser_.State(vcs_LinkError);
  handler_.OnVekConnectEvent(*this, error);
}

void VekClient::Disconnect() {
  TCall call(*this);
  if (call && SetDisconnect(call)) handler_.OnVekConnectEvent(*this, kTextDisconnect);
}

// False when another call has taken over while this one waited for the link's threads; the client may then be
// gone.
bool VekClient::SetDisconnect(TCall& call) {
  call.CloseSession();
  if (call.Overtaken()) return false;
  parser_.SetDisconnected();
  WipeSignOn();
  return true;
}

void VekClient::WipeSignOn() {
  Dova::WipeText(sgnPass_);
  sgnId_.clear();
  apName_.clear();
  apVersion_.clear();
}

void VekClient::SetPkHead(char* packet, int msgCode, int length) {
  packet[0] = static_cast<char>(length & 0xFF);
  packet[1] = static_cast<char>((msgCode >> 4 & 0xF0) | (length >> 8 & 0x0F));
  packet[2] = static_cast<char>(msgCode & 0xFF);
}

bool VekClient::MakePkBuffer(std::string& buffer, int msgCode, int length) {
  if (length < kHeadBytes || length > kMaxBuilt) return false;
  buffer.resize(static_cast<std::size_t>(length));
  SetPkHead(buffer.data(), msgCode, length);
  return true;
}

}  // namespace VekApi
