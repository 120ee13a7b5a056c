#include "platform/os/win32/SentMessageWait.h"

#include <algorithm>

#include "platform/os/AnswerWatch.h"
#include "platform/os/Clock.h"

namespace Dova::Os {
namespace {

// A point in time, or none.
class TDeadline {
 public:
  explicit TDeadline(int timeoutMs) noexcept
      : forEver_(timeoutMs < 0), due_(forEver_ ? 0 : MonotonicNs() + std::int64_t{timeoutMs} * 1'000'000) {}

  // Remaining whole milliseconds, rounded up.
  DWORD LeftMs() const noexcept {
    if (forEver_) return INFINITE;
    const std::int64_t left = due_ - MonotonicNs();
    return left <= 0 ? 0 : static_cast<DWORD>((left + 999'999) / 1'000'000);
  }

 private:
  const bool forEver_;
  const std::int64_t due_;
};

void AnswerSentMessages() noexcept {
  const TAnswerScope answering;
  MSG message;
  PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
}

bool IsSignalled(DWORD result, DWORD count) noexcept {
  return result < WAIT_OBJECT_0 + count;
}

bool WaitForAny(const HANDLE* handles, DWORD count, int timeoutMs) noexcept {
  // Usually it is signalled already, and this call avoids creating the thread's message queue.
  if (IsSignalled(WaitForMultipleObjects(count, handles, FALSE, 0), count)) return true;
  const TDeadline deadline(timeoutMs);
  for (;;) {
    const DWORD leftMs = deadline.LeftMs();
    const DWORD result =
        MsgWaitForMultipleObjectsEx(count, handles, leftMs, QS_SENDMESSAGE, MWMO_INPUTAVAILABLE);
    if (IsSignalled(result, count)) return true;
    if (result == WAIT_TIMEOUT) return false;
    // A service without a desktop cannot have windows, so there is nothing to answer.
    if (result == WAIT_FAILED)
      return IsSignalled(WaitForMultipleObjects(count, handles, FALSE, leftMs), count);
    AnswerSentMessages();
  }
}

}  // namespace

bool WaitAnsweringSentMessages(HANDLE handle, int timeoutMs) noexcept {
  return WaitForAny(&handle, 1, timeoutMs);
}

bool WaitAnsweringSentMessages(HANDLE first, HANDLE second, int timeoutMs) noexcept {
  const HANDLE both[] = {first, second};
  return WaitForAny(both, 2, timeoutMs);
}

bool WaitAnsweringSentMessages(std::atomic<bool>& flag, int timeoutMs) noexcept {
  const TDeadline deadline(timeoutMs);
  for (;;) {
    const DWORD leftMs = deadline.LeftMs();
    if (flag.exchange(false)) return true;
    if (leftMs == 0) return false;
    const DWORD waitMs = std::min(leftMs, kLookMs);
    const DWORD result = MsgWaitForMultipleObjectsEx(0, nullptr, waitMs, QS_SENDMESSAGE, MWMO_INPUTAVAILABLE);
    if (result == WAIT_FAILED) Sleep(waitMs);
    if (result == WAIT_OBJECT_0) AnswerSentMessages();
  }
}

}  // namespace Dova::Os
