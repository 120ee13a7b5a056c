#include "platform/runtime/TSyncObj.h"

namespace Dova {

bool TSyncObj::WaitSync(bool wait) {
  if (!wait) return Run(TSyncScope(context_, std::try_to_lock));
  return Run(TSyncScope(context_, &cancelled_));
}

// The action may delete this object.
bool TSyncObj::Run(const TSyncScope& inside) {
  if (!inside) return false;
  OnSync();
  return true;
}

void TSyncObj::AbortSync() noexcept {
  cancelled_.store(true);
  context_->Kick();
}

}  // namespace Dova
