#include "platform/os/win32/FineTick.h"

#include <atomic>

#include "platform/os/FineTick.h"
#include "platform/os/Mutex.h"

namespace Dova::Os {
namespace {

using TSetPeriod = UINT(WINAPI*)(UINT ms);

std::atomic<TSetPeriod> beginPeriod{nullptr};
std::atomic<TSetPeriod> endPeriod{nullptr};

TSetPeriod Function(HMODULE library, const char* name) noexcept {
  return reinterpret_cast<TSetPeriod>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

bool HasFineTimers() noexcept {
  const HANDLE timer =
      CreateWaitableTimerExW(nullptr, nullptr, CREATE_WAITABLE_TIMER_HIGH_RESOLUTION, TIMER_ALL_ACCESS);
  if (timer != nullptr) CloseHandle(timer);
  return timer != nullptr;
}

// The library stays loaded, as it would if it were linked.
bool LoadIfNeeded() noexcept {
  if (HasFineTimers()) return false;
  const HMODULE library = LoadLibraryW(L"winmm.dll");
  if (library == nullptr) return false;
  endPeriod = Function(library, "timeEndPeriod");
  beginPeriod = Function(library, "timeBeginPeriod");
  return true;
}

}  // namespace

void PrepareFineTick() noexcept {
  AssertNoLockHeld("PrepareFineTick");
  [[maybe_unused]] static const bool loaded = LoadIfNeeded();
}

TFineTick::TFineTick() noexcept {
  if (const TSetPeriod begin = beginPeriod) begin(1);
}

TFineTick::~TFineTick() {
  if (const TSetPeriod end = endPeriod) end(1);
}

}  // namespace Dova::Os
