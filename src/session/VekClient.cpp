#include "vekapi/VekClient.h"

#include <new>

#include "platform/runtime/Wipe.h"
#include "protocol/Packet.h"
#include "session/TImpl.h"
#include "session/TLink.h"
#include "session/Texts.h"
#include "vekapi/VekSessionC.h"

namespace VekApi {
namespace {

// A longer text may need memory that is not there.
std::string TextOf(const char* text) noexcept {
  try {
    return text;
  } catch (const std::bad_alloc&) {
    return kTextNoMemory;
  }
}

}  // namespace

VekClient::VekClient(VekClientHandler& handler) : VekClient(handler, Dstl::make_ref<TImpl>().get()) {}

VekClient::VekClient(VekClientHandler& handler, TImpl* impl)
    : handler_(handler), parser_(*this, impl->CipherSlot()), impl_(impl) {
  impl_->add_ref();
  impl_->AddOwner();
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
  impl_->AddOwner();
}

VekClient::~VekClient() {
  impl_->Abandon(this);
  {
    const Dova::TSyncScope inside(impl_->Context());
    if (inside) impl_->EndTap(*this);
    handler_.OnVekClientDestroyEvent(*this);
    if (inside) impl_->RemoveOwner(*this);
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
  const Dstl::wise_ref<TImpl> impl(impl_);
  // Freed when all is done: that may wait for a timer and answer messages, in which the application may
  // connect.
  Dstl::wise_ref<TLink> before, made;
  impl->Abandon();
  const Dova::TSyncScope inside(impl->Context());
  if (!inside) return;
  before = impl->Link();
  if (!SetDisconnect()) return;
  const char* error = nullptr;
  try {
    apName_ = apName;
    apVersion_ = apVersion;
    sgnId_ = id1 + "/" + id2;
    sgnPass_ = pass;
    parser_.State(vcs_Connecting);
    impl->SetWhy(0);
    error = impl->OpenSession(*this, setting, apName, apVersion, made);
  } catch (const std::bad_alloc&) {
    error = kTextNoMemory;
    impl->SetWhy(vsr_NoMemory);
  }
  if (!error) return;
  parser_.State(vcs_LinkError);
  handler_.OnVekConnectEvent(*this, TextOf(error));
}

void VekClient::Disconnect() {
  const Dstl::wise_ref<TImpl> impl(impl_);
  Dstl::wise_ref<TLink> before;
  impl->Abandon();
  const Dova::TSyncScope inside(impl->Context());
  if (!inside) return;
  before = impl->Link();
  if (!SetDisconnect()) return;
  impl->SetWhy(vsr_Closed);
  handler_.OnVekConnectEvent(*this, kTextDisconnect);
}

// False if another call has taken over while this one waited for the link's threads; the client may then be
// destroyed.
bool VekClient::SetDisconnect() {
  if (!impl_->CloseSession()) return false;
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
  PutHead(packet, msgCode, length);
}

bool VekClient::MakePkBuffer(std::string& buffer, int msgCode, int length) {
  if (length < kHeadBytes || length > kMaxBuilt) return false;
  buffer.resize(static_cast<std::size_t>(length));
  PutHead(buffer.data(), msgCode, length);
  return true;
}

}  // namespace VekApi
