#include "platform/os/Signal.h"

#include <sys/eventfd.h>
#include <unistd.h>

namespace Dova::Os {

TSignal::~TSignal() {
  if (handle_ != kNone) close(static_cast<int>(handle_));
}

std::intptr_t TSignal::Handle() noexcept {
  if (handle_ == kNone) handle_ = eventfd(set_ ? 1 : 0, EFD_CLOEXEC | EFD_NONBLOCK);
  return handle_;
}

void TSignal::Set() noexcept {
  if (set_) return;
  set_ = true;
  if (handle_ != kNone) eventfd_write(static_cast<int>(handle_), 1);
}

void TSignal::Clear() noexcept {
  if (!set_) return;
  set_ = false;
  eventfd_t count = 0;
  if (handle_ != kNone) eventfd_read(static_cast<int>(handle_), &count);
}

}  // namespace Dova::Os
