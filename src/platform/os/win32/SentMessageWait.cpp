#include "platform/os/win32/SentMessageWait.h"

#include "platform/os/AnswerWatch.h"
#include "platform/os/Clock.h"

namespace Dova::Os {
namespace {

// What is left until `due`, in whole milliseconds that do not end early.
DWORD RemainingMs(std::int64_t due) noexcept {
  const std::int64_t left = due - MonotonicNs();
  return left <= 0 ? 0 : static_cast<DWORD>((left + 999'999) / 1'000'000);
}

}  // namespace

bool WaitAnsweringSentMessages(HANDLE handle, int timeoutMs) noexcept {
  // Mostly it is there already; the message queue, which a thread gets on first asking for it, is not needed
  // then.
  if (WaitForSingleObject(handle, 0) == WAIT_OBJECT_0) return true;
  const bool forEver = timeoutMs < 0;
  const std::int64_t due = forEver ? 0 : MonotonicNs() + std::int64_t{timeoutMs} * 1'000'000;
  for (;;) {
    const DWORD waitMs = forEver ? INFINITE : RemainingMs(due);
    const DWORD result = MsgWaitForMultipleObjectsEx(1, &handle, waitMs, QS_SENDMESSAGE, MWMO_INPUTAVAILABLE);
    if (result == WAIT_OBJECT_0) return true;
    if (result == WAIT_TIMEOUT) return false;
    // A service without a desktop cannot have windows: then there is nothing to answer either.
    if (result == WAIT_FAILED) return WaitForSingleObject(handle, waitMs) == WAIT_OBJECT_0;
    const TAnswerScope answering;
    MSG message;
    PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
  }
}

}  // namespace Dova::Os
