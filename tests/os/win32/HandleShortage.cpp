// Overrides system functions in this program: the linker prefers these entries to those of the import
// library.
#include "os/win32/HandleShortage.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <atomic>

namespace TestSupport {
namespace {

std::atomic<unsigned> refused{0};
std::atomic<unsigned> felt{0};

bool Refuses(EHandle kind) {
  if ((refused & kind) == 0) return false;
  felt |= kind;
  SetLastError(ERROR_NO_SYSTEM_RESOURCES);
  return true;
}

template <class TFunction>
TFunction Real(const char* name) {
  return reinterpret_cast<TFunction>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name)));
}

HANDLE WINAPI Event(SECURITY_ATTRIBUTES* security, BOOL manual, BOOL set, LPCWSTR name) {
  static const auto create = Real<decltype(&Event)>("CreateEventW");
  return Refuses(kEvents) ? nullptr : create(security, manual, set, name);
}

HANDLE WINAPI Timer(SECURITY_ATTRIBUTES* security, LPCWSTR name, DWORD flags, DWORD access) {
  static const auto create = Real<decltype(&Timer)>("CreateWaitableTimerExW");
  return Refuses(kTimers) ? nullptr : create(security, name, flags, access);
}

}  // namespace

TRefusing::TRefusing(unsigned kinds) : kinds_(kinds) {
  felt = 0;
  refused = kinds;
}

TRefusing::~TRefusing() {
  refused = 0;
  EXPECT_EQ(felt, kinds_);
}

extern "C" {
extern decltype(&Event) const __imp_CreateEventW;
decltype(&Event) const __imp_CreateEventW = &Event;
extern decltype(&Timer) const __imp_CreateWaitableTimerExW;
decltype(&Timer) const __imp_CreateWaitableTimerExW = &Timer;
}

}  // namespace TestSupport
