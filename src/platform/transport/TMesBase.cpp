#include "platform/transport/TMesBase.h"

namespace Dova {

TMesBase::TMesBase() : context_(Dstl::make_ref<TSyncContext>()) {}

bool TMesBase::SettingApply(const std::string& setting) {
  setting_ = setting;
  return true;
}

int TMesBase::SendAt(const char* bytes, int length, std::uint64_t& at) {
  const int sent = Send(bytes, length);
  if (sent > 0) at = 0;
  return sent;
}

void TMesBase::CloseReason(const std::string& reason) {
  if (IsClosed()) return;
  const Dstl::wise_ref<TMesBase> self(this);
  TMesEvHandler* handler = handler_;
  Close();
  if (handler && handler == handler_) handler->OnMesLinkBroken(this, reason);
}

bool TMesBase::MarkClosed() {
  if (closed_.exchange(true)) return false;
  context_->Kick();
  return true;
}

}  // namespace Dova
