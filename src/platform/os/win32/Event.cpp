#include "platform/os/Event.h"

#include <windows.h>

#include "platform/os/Mutex.h"
#include "platform/os/win32/SentMessageWait.h"

namespace Dova::Os {

struct TEvent::TNative {
  HANDLE handle = CreateEventW(nullptr, FALSE, FALSE, nullptr);

  TNative() = default;
  ~TNative() { CloseHandle(handle); }
  TNative(const TNative&) = delete;
  TNative& operator=(const TNative&) = delete;
};

TEvent::TEvent() : native_(std::make_unique<TNative>()) {}
TEvent::~TEvent() = default;

void TEvent::Set() noexcept {
  SetEvent(native_->handle);
}

bool TEvent::Wait(int timeoutMs) noexcept {
  if (timeoutMs != 0) AssertNoLockHeld("TEvent::Wait");
  return WaitAnsweringSentMessages(native_->handle, timeoutMs);
}

}  // namespace Dova::Os
