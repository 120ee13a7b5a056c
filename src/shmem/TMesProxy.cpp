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

// The inner messenger is kept until destruction: one of its events may be on the stack.
void TMesProxy::Close() {
  if (!MarkClosed() || !inner_) return;
  inner_->SetEvHandler(nullptr);
  inner_->Close();
}

int TMesProxy::LinkTimeoutMs() const {
  return inner_ ? inner_->LinkTimeoutMs() : TMesBase::LinkTimeoutMs();
}

std::size_t TMesProxy::MaxMessageBytes() const {
  return inner_ ? inner_->MaxMessageBytes() : TMesBase::MaxMessageBytes();
}

std::size_t TMesProxy::SendQueueBytes() const {
  return inner_ ? inner_->SendQueueBytes() : TMesBase::SendQueueBytes();
}

void TMesProxy::OnMesLinkError(TMesBase*, const std::string& reason) {
  const Dstl::wise_ref<TMesProxy> self(this);
  OnInnerGone(reason);
}

void TMesProxy::OnMesLinkBroken(TMesBase*, const std::string& reason) {
  const Dstl::wise_ref<TMesProxy> self(this);
  OnInnerGone(reason);
}

}  // namespace Dova
