#include "platform/mbus/TSyncObj.h"

namespace Dova {

bool TSyncObj::WaitSync(bool wait) {
  if (!wait && !context_->TryEnter()) return false;
  if (wait && !context_->Enter(&cancelled_)) return false;
  const Dstl::wise_ref<TSyncContext> context = context_;  // the action may delete this object
  OnSync();
  context->Leave();
  return true;
}

void TSyncObj::AbortSync() noexcept {
  cancelled_.store(true);
  context_->Kick();
}

}  // namespace Dova
