// Overrides system functions in this program: the linker prefers these entries to those of the import
// library.
#include <windows.h>

#include <memory>

#include "runtime/Shortage.h"

namespace {

template <class TFunction>
TFunction Real(const char* name) {
  return reinterpret_cast<TFunction>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name)));
}

struct THeld {
  LPTHREAD_START_ROUTINE body;
  void* argument;
  Dova::Os::TEvent* until;
};

DWORD WINAPI RunHeld(void* held) {
  const THeld* const start = static_cast<THeld*>(held);
  TestSupport::Hold(*start->until);
  return start->body(start->argument);  // does not return
}

HANDLE WINAPI Create(SECURITY_ATTRIBUTES* security, SIZE_T stack, LPTHREAD_START_ROUTINE body, void* argument,
                     DWORD flags, DWORD* id) {
  using TCreate = decltype(&Create);
  static const auto create = Real<TCreate>("CreateThread");
  if (!TestSupport::AskForThread()) return nullptr;
  Dova::Os::TEvent* const until = TestSupport::holdNextThread.exchange(nullptr);
  if (!until) return create(security, stack, body, argument, flags, id);
  return create(security, stack, &RunHeld, new THeld{body, argument, until}, flags, id);
}

}  // namespace

extern "C" {
extern decltype(&Create) const __imp_CreateThread;
decltype(&Create) const __imp_CreateThread = &Create;
}
