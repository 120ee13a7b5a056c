#include "platform/runtime/TLoopNotice.h"

TLoopNotice::TLoopNotice(TOwner& owner) : owner_(owner), window_(Dova::Os::AllocateHWnd_Impl(*this)) {
  if (window_) post_.emplace(window_, kTold);
}

TLoopNotice::~TLoopNotice() {
  if (window_) Dova::Os::DeallocateHWnd(window_);
}

void TLoopNotice::Tell() noexcept {
  if (!told_.exchange(true)) post_->Post();
}

void TLoopNotice::TellLast() noexcept {
  if (!told_.exchange(true) && !window_->PostLast(kTold)) post_->Post();
}

bool TLoopNotice::OnMessage(const Dova::Os::TMessage& message) {
  if (message.code != kTold) return false;
  if (told_.exchange(false)) owner_.OnTold();
  return true;
}
