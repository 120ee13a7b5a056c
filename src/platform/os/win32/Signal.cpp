#include "platform/os/Signal.h"

#include <windows.h>

namespace Dova::Os {
namespace {

HANDLE HandleOf(std::intptr_t number) {
  return reinterpret_cast<HANDLE>(number);
}

}  // namespace

TSignal::~TSignal() {
  if (handle_ != kNone) CloseHandle(HandleOf(handle_));
}

std::intptr_t TSignal::Handle() noexcept {
  if (handle_ == kNone) handle_ = reinterpret_cast<std::intptr_t>(CreateEventW(nullptr, TRUE, set_, nullptr));
  return handle_;
}

void TSignal::Set() noexcept {
  set_ = true;
  if (handle_ != kNone) SetEvent(HandleOf(handle_));
}

void TSignal::Clear() noexcept {
  set_ = false;
  if (handle_ != kNone) ResetEvent(HandleOf(handle_));
}

}  // namespace Dova::Os
