#include "platform/os/Event.h"

#include <windows.h>

#include "platform/os/Mutex.h"
#include "platform/os/win32/SentMessageWait.h"

namespace Dova::Os {

struct TEvent::TNative {
  // Null if the system has none left: the flag is then used instead.
  const HANDLE handle = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  std::atomic<bool> flag{false};

  TNative() = default;
  ~TNative() {
    if (handle != nullptr) CloseHandle(handle);
  }
  TNative(const TNative&) = delete;
  TNative& operator=(const TNative&) = delete;
};

TEvent::TEvent() noexcept = default;
TEvent::~TEvent() = default;

void TEvent::Set() noexcept {
  if (native_->handle != nullptr) {
    SetEvent(native_->handle);
  } else {
    native_->flag.store(true);
  }
}

bool TEvent::Wait(int timeoutMs) noexcept {
  if (timeoutMs != 0) AssertNoLockHeld("TEvent::Wait");
  if (native_->handle != nullptr) return WaitAnsweringSentMessages(native_->handle, timeoutMs);
  return WaitAnsweringSentMessages(native_->flag, timeoutMs);
}

}  // namespace Dova::Os
