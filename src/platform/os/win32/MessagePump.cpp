#include "platform/os/MessagePump.h"

#include <windows.h>

#include "platform/os/Clock.h"
#include "platform/os/win32/MessageCount.h"

namespace Dova::Os {
namespace {

constexpr int kQuit = -1;

// Peeking for a posted message answers all sent ones. Ends at the first message or timer newer than its
// start, so messages posted as fast as they are handled do not keep it here.
int RunWaiting() {
  const int answered = SentMessagesAnswered();
  const DWORD began = GetTickCount();
  int posted = 0;
  MSG message;
  for (bool came = false;
       !came && posted < kMessagesAtOnce && PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE); ++posted) {
    if (message.message == WM_QUIT) {
      PostQuitMessage(static_cast<int>(message.wParam));
      return kQuit;
    }
    came = static_cast<LONG>(message.time - began) > 0;
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  return posted + SentMessagesAnswered() - answered;
}

DWORD RemainingMs(std::int64_t due) noexcept {
  const std::int64_t left = due - MonotonicNs();
  return left <= 0 ? 0 : static_cast<DWORD>((left + 999'999) / 1'000'000);
}

}  // namespace

int DispatchMessages(int timeoutMs) {
  const std::int64_t due = MonotonicNs() + std::int64_t{timeoutMs} * 1'000'000;
  for (;;) {
    const int ran = RunWaiting();
    if (ran != 0 || timeoutMs == 0) return ran;
    const DWORD waitMs = timeoutMs < 0 ? INFINITE : RemainingMs(due);
    const DWORD result = MsgWaitForMultipleObjectsEx(0, nullptr, waitMs, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    if (result == WAIT_FAILED) return -1;
    if (result == WAIT_TIMEOUT) return 0;
  }
}

int MessagesDescriptor() noexcept {
  return -1;
}

}  // namespace Dova::Os
