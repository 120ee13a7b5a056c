#include "platform/os/Alarm.h"

#include <windows.h>

#include <algorithm>

#include "platform/os/Clock.h"
#include "platform/os/Mutex.h"
#include "platform/os/win32/FineTick.h"
#include "platform/os/win32/SentMessageWait.h"

namespace Dova::Os {
namespace {

constexpr std::int64_t kMs = 1'000'000;
constexpr std::int64_t kForEver = INT64_MAX;
// Without a high-resolution timer, a finer tick is requested only this close to the due time.
constexpr std::int64_t kNear = 50 * kMs;

}  // namespace

struct TAlarm::TNative {
  // Null if the system has none left: the flag is then used instead.
  HANDLE wake = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  std::atomic<bool> flag{false};
  HANDLE timer =
      CreateWaitableTimerExW(nullptr, nullptr, CREATE_WAITABLE_TIMER_HIGH_RESOLUTION, TIMER_ALL_ACCESS);

  TNative() = default;
  ~TNative() {
    if (timer != nullptr) CloseHandle(timer);
    if (wake != nullptr) CloseHandle(wake);
  }
  TNative(const TNative&) = delete;
  TNative& operator=(const TNative&) = delete;

  // Both wait for about `left` and return true when woken.
  bool Wait(std::int64_t left) noexcept;
  bool WaitLooking(std::int64_t left) noexcept;
  bool WaitFine(std::int64_t left) const noexcept;
  bool WaitCoarse(std::int64_t left) const noexcept;
};

bool TAlarm::TNative::WaitFine(std::int64_t left) const noexcept {
  LARGE_INTEGER relative;
  relative.QuadPart = -((left + 99) / 100);
  if (!SetWaitableTimer(timer, &relative, 0, nullptr, nullptr, FALSE)) return WaitCoarse(left);
  const HANDLE both[] = {wake, timer};
  return WaitForMultipleObjects(2, both, FALSE, INFINITE) == WAIT_OBJECT_0;
}

bool TAlarm::TNative::WaitCoarse(std::int64_t left) const noexcept {
  if (left > kNear) {
    const std::int64_t ms = std::min<std::int64_t>((left - kNear / 2) / kMs, 0x7fffffff);
    return WaitForSingleObject(wake, static_cast<DWORD>(ms)) == WAIT_OBJECT_0;
  }
  const TFineTick fine;
  const auto ms = static_cast<DWORD>((left + kMs - 1) / kMs);
  return WaitForSingleObject(wake, ms) == WAIT_OBJECT_0;
}

// Polls in steps of the system tick; only precision is lost.
bool TAlarm::TNative::WaitLooking(std::int64_t left) noexcept {
  if (flag.exchange(false)) return true;
  Sleep(static_cast<DWORD>(std::min<std::int64_t>(left / kMs + 1, kLookMs)));
  return flag.exchange(false);
}

bool TAlarm::TNative::Wait(std::int64_t left) noexcept {
  if (wake == nullptr) return WaitLooking(left);
  if (left == kForEver) return WaitForSingleObject(wake, INFINITE) == WAIT_OBJECT_0;
  return timer != nullptr ? WaitFine(left) : WaitCoarse(left);
}

TAlarm::TAlarm() noexcept = default;
TAlarm::~TAlarm() = default;

void TAlarm::WaitUntil(TTime due) noexcept {
  AssertNoLockHeld("TAlarm::WaitUntil");
  for (;;) {
    const std::int64_t left = due == kNever ? kForEver : (due - TClock::now()).count();
    if (left <= 0) break;
    if (native_->Wait(left)) return;
  }
  // A Wake ends this wait, not the next.
  native_->flag.store(false);
  if (native_->wake != nullptr) WaitForSingleObject(native_->wake, 0);
}

void TAlarm::Wake() noexcept {
  if (native_->wake != nullptr) {
    SetEvent(native_->wake);
  } else {
    native_->flag.store(true);
  }
}

}  // namespace Dova::Os
