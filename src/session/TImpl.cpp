#include "session/TImpl.h"

#include <new>
#include <utility>

#include "platform/runtime/TextCopy.h"
#include "session/TLink.h"
#include "session/Texts.h"
#include "vekapi/VekSessionC.h"

namespace VekApi {

VekClient::TImpl::TImpl()
    : context_(Dstl::make_ref<Dova::TSyncContext>()), slot_(std::make_shared<TCipherSlot>()) {}

VekClient::TImpl::~TImpl() = default;

void VekClient::TImpl::SetLink(Dstl::wise_ref<TLink> link) {
  const std::lock_guard lock(slot_->mutex);
  std::swap(link_, link);
}

void VekClient::TImpl::LetSend(TLink& link) {
  if (link_.get() != &link) return;
  auto wire = Dstl::make_ref<const TWire>(link_, link.Mes(), slot_->cipher);
  const std::lock_guard lock(slot_->mutex);
  slot_->wire.Swap(wire);
}

void VekClient::TImpl::Silence(TLink& link) {
  Dstl::wise_ref<const TWire> wire;
  const std::lock_guard lock(slot_->mutex);
  if (link_.get() == &link) slot_->wire.Swap(wire);
}

TWhy VekClient::TImpl::Why() {
  if (context_->IsInherited()) return {};
  const std::lock_guard lock(slot_->mutex);
  return {why_.reason, Dova::CopyIfMemory(why_.detail)};
}

void VekClient::TImpl::SetWhy(int reason, std::string_view detail) noexcept {
  TWhy why{reason, Dova::CopyIfMemory(detail)};
  const std::lock_guard lock(slot_->mutex);
  std::swap(why_, why);
}

void VekClient::TImpl::Abandon(const VekClient* only) {
  if (context_->IsInherited()) return;
  const std::lock_guard lock(slot_->mutex);
  if (link_ && (!only || link_->IsOf(*only))) link_->SetOver();
}

// If an event of a link deletes its client, the link survives until that event returns.
void VekClient::TImpl::RemoveOwner(const VekClient& client) {
  while (link_ && link_->IsOf(client)) CloseSession();
  if (--owners_ == 0) context_->Abort();
}

// An event raised inside may delete the client or create a new link.
bool VekClient::TImpl::CloseSession(EVekClientState state, const char* reason) {
  const auto link = link_;
  if (!link) return true;
  link->SetOver();
  link->Close();
  if (state == vcs_Disconnected) SetWhy(vsr_Closed);
  link->TapEnd(state, reason);
  if (link_.get() != link.get()) return false;
  SetLink({});
  return true;
}

void VekClient::TImpl::EndTap(const VekClient& client) {
  SetWhy(vsr_Closed);
  if (const auto link = link_; link && link->IsOf(client)) link->TapEnd(vcs_Disconnected, kTextDisconnect);
  tap_.Set({});
}

const char* VekClient::TImpl::OpenSession(VekClient& client, const std::string& setting,
                                          const std::string& apName, const std::string& apVersion,
                                          Dstl::wise_ref<TLink>& link) {
  link = Dstl::make_ref<TLink>(client, *this);
  SetLink(link);
  const char* error = nullptr;
  try {
    error = link->Open(setting, apName, apVersion);
  } catch (const std::bad_alloc&) {
    error = kTextNoMemory;
    SetWhy(vsr_NoMemory);
  }
  if (!error || link->Over()) return nullptr;
  return CloseSession(vcs_LinkError, error) ? error : nullptr;
}

}  // namespace VekApi
