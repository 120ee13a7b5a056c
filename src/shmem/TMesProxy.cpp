#include "shmem/TMesProxy.h"

#include <utility>

namespace Dova {

TMesProxy::~TMesProxy() {
  SetInner({});
}

void TMesProxy::SetInner(Dstl::wise_ref<TMesBase> inner) {
  if (inner_) inner_->SetEvHandler(nullptr);
  inner_ = std::move(inner);
  if (inner_) inner_->SetEvHandler(this);
}

bool TMesProxy::Open() {
  if (!inner_) return false;
  inner_->SetSyncContext(SyncContext());
  return inner_->Open();
}

// The inner messenger stays until the destruction: an event of it may be on the stack.
void TMesProxy::Close() {
  if (!MarkClosed() || !inner_) return;
  inner_->SetEvHandler(nullptr);
  inner_->Close();
}

void TMesProxy::OnMesLinkError(TMesBase*, const std::string& reason) {
  const Dstl::wise_ref<TMesProxy> self(this);
  RaiseInside([&](TMesEvHandler& handler) { handler.OnMesLinkError(this, reason); });
}

void TMesProxy::OnMesLinkBroken(TMesBase* inner, const std::string& reason) {
  const Dstl::wise_ref<TMesProxy> self(this);
  if (OnInnerLost()) return CloseReason(reason);
  OnMesLinkError(inner, reason);
}

}  // namespace Dova
