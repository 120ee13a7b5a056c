#include "platform/os/NamedEvent.h"

#include <windows.h>

#include "platform/os/win32/OpenAccess.h"

namespace Dova::Os {

struct TNamedEvent::TNative {
  explicit TNative(HANDLE event) noexcept : handle(event) {}
  ~TNative() { CloseHandle(handle); }
  TNative(const TNative&) = delete;
  TNative& operator=(const TNative&) = delete;

  const HANDLE handle;
};

TNamedEvent::TNamedEvent() = default;
TNamedEvent::~TNamedEvent() = default;
TNamedEvent::TNamedEvent(TNamedEvent&& other) noexcept = default;
TNamedEvent& TNamedEvent::operator=(TNamedEvent&& other) noexcept = default;

bool TNamedEvent::Open(const std::string& name, EOpen how) {
  Close();
  TOpenAccess access(how == EOpen::Make);
  const HANDLE handle = CreateEventA(access.Attributes(), FALSE, FALSE, name.c_str());
  const DWORD result = GetLastError();
  error_ = handle != nullptr ? 0 : static_cast<int>(result);
  if (handle == nullptr) return false;
  native_ = std::make_unique<TNative>(handle);
  if (how == EOpen::Make && result == ERROR_ALREADY_EXISTS) {
    Close();
    error_ = ERROR_ALREADY_EXISTS;
  }
  return error_ == 0;
}

void TNamedEvent::HideName() noexcept {}

void TNamedEvent::Close() noexcept {
  native_.reset();
}

void TNamedEvent::Set() noexcept {
  if (native_) SetEvent(native_->handle);
}

// Private to this process: other processes can interfere with the named events during a wait.
struct TNamedEventWait::TNative {
  const HANDLE stop = CreateEventW(nullptr, TRUE, FALSE, nullptr);  // manual reset
  const HANDLE nudge = CreateEventW(nullptr, FALSE, FALSE, nullptr);

  TNative() = default;
  ~TNative() {
    if (stop != nullptr) CloseHandle(stop);
    if (nudge != nullptr) CloseHandle(nudge);
  }
  TNative(const TNative&) = delete;
  TNative& operator=(const TNative&) = delete;
};

TNamedEventWait::TNamedEventWait() : native_(std::make_unique<TNative>()) {}
TNamedEventWait::~TNamedEventWait() = default;

TNamedEventWait::operator bool() const noexcept {
  return native_->stop != nullptr && native_->nudge != nullptr;
}

unsigned TNamedEventWait::Wait(TNamedEvent& first, TNamedEvent& second, int timeoutMs,
                               bool lazySecond) noexcept {
  if (!first.native_ || !second.native_) return kCannot;
  const HANDLE secondHandle = second.native_->handle;
  const HANDLE handles[] = {native_->stop, first.native_->handle, lazySecond ? native_->nudge : secondHandle};
  switch (
      WaitForMultipleObjects(3, handles, FALSE, timeoutMs < 0 ? INFINITE : static_cast<DWORD>(timeoutMs))) {
    case WAIT_OBJECT_0:
      return kStopped;
    case WAIT_OBJECT_0 + 1:
      // The system reports only the first signalled handle; without this check a busy first event would hide
      // the second.
      return WaitForSingleObject(secondHandle, 0) == WAIT_OBJECT_0 ? kFirst | kSecond : kFirst;
    case WAIT_OBJECT_0 + 2:
      return kSecond;
    case WAIT_TIMEOUT:
      return 0;
    default:
      return kCannot;
  }
}

void TNamedEventWait::Nudge(TNamedEvent& /*second*/) noexcept {
  SetEvent(native_->nudge);
}

void TNamedEventWait::Stop(TNamedEvent& /*first*/, TNamedEvent& /*second*/) noexcept {
  SetEvent(native_->stop);
}

}  // namespace Dova::Os
