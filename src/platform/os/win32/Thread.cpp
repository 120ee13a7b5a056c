#include "platform/os/Thread.h"

#include <windows.h>

#include <utility>

#include "platform/os/Mutex.h"
#include "platform/os/win32/SentMessageWait.h"

namespace Dova::Os {
namespace {

// Functions that are not in every Windows version, or in no import library.
template <class TFunction>
TFunction FindFunction(const wchar_t* module, const char* name) noexcept {
  const HMODULE handle = GetModuleHandleW(module);
  if (handle == nullptr) return nullptr;
  return reinterpret_cast<TFunction>(reinterpret_cast<void*>(GetProcAddress(handle, name)));
}

void NameThisThread(const std::wstring& name) {
  using TSetDescription = HRESULT(WINAPI*)(HANDLE, PCWSTR);
  const auto set = FindFunction<TSetDescription>(L"kernel32.dll", "SetThreadDescription");
  if (set != nullptr) set(GetCurrentThread(), name.c_str());
}

// The module that holds this code, with one reference more; null on failure.
HMODULE PinThisModule() {
  HMODULE module = nullptr;
  const auto here = reinterpret_cast<LPCWSTR>(reinterpret_cast<void*>(&PinThisModule));
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, here, &module);
  return module;
}

}  // namespace

struct TThread::TNative {
  struct TStart {
    std::wstring name;
    std::function<void()> body;
    HMODULE module;
  };

  HANDLE handle = nullptr;
  DWORD id = 0;

  ~TNative() {
    if (handle != nullptr) CloseHandle(handle);
  }

  static void RunBody(TStart* start);
  static DWORD WINAPI Run(void* start);
};

// Apart from Run, so that everything here is destroyed before the thread leaves without unwinding.
void TThread::TNative::RunBody(TStart* start) {
  const std::unique_ptr<TStart> owned(start);
  NameThisThread(owned->name);
  owned->body();
}

DWORD WINAPI TThread::TNative::Run(void* start) {
  const HMODULE module = static_cast<TStart*>(start)->module;
  RunBody(static_cast<TStart*>(start));
  // The reference may be the last one; only the system can give it back and end the thread in one step.
  if (module != nullptr) FreeLibraryAndExitThread(module, 0);
  return 0;
}

std::uintptr_t CurrentThreadToken() noexcept {
  return GetCurrentThreadId();
}

void SleepMs(unsigned ms) noexcept {
  // The largest number means "for ever" to the system.
  Sleep(ms == INFINITE ? INFINITE - 1 : ms);
}

bool ProcessIsExiting() noexcept {
  using TShutdownInProgress = BOOLEAN(NTAPI*)();
  static const auto inProgress = FindFunction<TShutdownInProgress>(L"ntdll.dll", "RtlDllShutdownInProgress");
  return inProgress != nullptr && inProgress();
}

TThread::~TThread() = default;
TThread::TThread(TThread&& other) noexcept = default;
TThread& TThread::operator=(TThread&& other) noexcept = default;

bool TThread::Start(const char* name, std::function<void()> body) {
  auto native = std::make_shared<TNative>();
  std::wstring wideName;
  for (const char* c = name; *c != '\0'; ++c) wideName.push_back(static_cast<unsigned char>(*c));
  const HMODULE module = PinThisModule();
  auto start = std::make_unique<TNative::TStart>(TNative::TStart{wideName, std::move(body), module});
  native->handle = CreateThread(nullptr, 0, &TNative::Run, start.get(), 0, &native->id);
  if (native->handle == nullptr) {
    if (module != nullptr) FreeLibrary(module);
    return false;
  }
  start.release();  // NOLINT(bugprone-unused-return-value): the new thread deletes it
  native_ = std::move(native);
  return true;
}

bool TThread::Join(int timeoutMs) noexcept {
  if (!native_) return true;
  AssertNoLockHeld("TThread::Join");
  if (!WaitAnsweringSentMessages(native_->handle, timeoutMs)) return false;
  native_.reset();
  return true;
}

void TThread::Detach() noexcept {
  native_.reset();
}

bool TThread::IsCurrent() const noexcept {
  return native_ && native_->id == GetCurrentThreadId();
}

}  // namespace Dova::Os
