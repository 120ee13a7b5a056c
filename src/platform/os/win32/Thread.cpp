#include "platform/os/Thread.h"

#include <windows.h>

#include <atomic>
#include <cstddef>
#include <new>
#include <string>
#include <utility>

#include "platform/os/Mutex.h"
#include "platform/os/win32/SentMessageWait.h"

namespace Dova::Os {
namespace {

// Functions missing in some Windows versions, or in import libraries.
template <class TFunction>
TFunction FindFunction(const wchar_t* module, const char* name) noexcept {
  const HMODULE handle = GetModuleHandleW(module);
  if (handle == nullptr) return nullptr;
  return reinterpret_cast<TFunction>(reinterpret_cast<void*>(GetProcAddress(handle, name)));
}

// Looked up when the library is loaded: the look-up takes the loader lock, and a later holder of that lock
// may be waiting for the calling thread.
const auto setThreadDescription =
    FindFunction<HRESULT(WINAPI*)(HANDLE, PCWSTR)>(L"kernel32.dll", "SetThreadDescription");
const auto processBlock = FindFunction<const char*(NTAPI*)()>(L"ntdll.dll", "RtlGetCurrentPeb");
const auto shutdownInProgress = FindFunction<BOOLEAN(NTAPI*)()>(L"ntdll.dll", "RtlDllShutdownInProgress");

void NameThisThread(const wchar_t* name) noexcept {
  if (setThreadDescription != nullptr) setThreadDescription(GetCurrentThread(), name);
}

// Permanently: to unpin with the last thread's end, each start would have to take the loader lock, and
// threads are started under locks that a holder of the loader lock may wait for. For the same reason there is
// no initialisation guard.
void PinThisModule() noexcept {
  static constinit std::atomic<bool> pinned{false};
  if (pinned) return;
  HMODULE module = nullptr;
  const auto here = reinterpret_cast<LPCWSTR>(reinterpret_cast<void*>(&PinThisModule));
  constexpr DWORD kFlags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN;
  if (GetModuleHandleExW(kFlags, here, &module)) pinned = true;
}

constexpr int kExitMs = 1000;

}  // namespace

struct TThread::TNative {
  struct TStart {
    std::wstring name;
    std::function<void()> body;
    std::shared_ptr<TNative> native;
  };
  class TEnd;

  HANDLE handle = nullptr;
  const HANDLE ended = CreateEventW(nullptr, TRUE, FALSE, nullptr);  // set when the body has ended
  DWORD id = 0;
  std::atomic<bool> taken{
      false};  // claimed by the thread to run the body, or by a joiner so that it never runs

  TNative() = default;
  ~TNative() {
    if (handle != nullptr) CloseHandle(handle);
    if (ended != nullptr) CloseHandle(ended);
  }
  TNative(const TNative&) = delete;
  TNative& operator=(const TNative&) = delete;

  bool Create(TStart* start) noexcept;
  static void RunBody(TStart* start);
  static DWORD WINAPI Run(void* start);
};

// Destroys the body before announcing the end: a joiner may rely on that.
class TThread::TNative::TEnd {
 public:
  explicit TEnd(TStart& start) noexcept : start_(start) {}
  ~TEnd() {
    start_.body = nullptr;
    SetEvent(start_.native->ended);
  }
  TEnd(const TEnd&) = delete;
  TEnd& operator=(const TEnd&) = delete;

 private:
  TStart& start_;
};

void TThread::TNative::RunBody(TStart* start) {
  const std::unique_ptr<TStart> owned(start);
  if (owned->native->taken.exchange(true)) return;
  const TEnd end(*owned);
  NameThisThread(owned->name.c_str());
  owned->body();
}

bool TThread::TNative::Create(TStart* start) noexcept {
  handle = CreateThread(nullptr, 0, &TNative::Run, start, 0, &id);
  return handle != nullptr;
}

DWORD WINAPI TThread::TNative::Run(void* start) {
  RunBody(static_cast<TStart*>(start));
  return 0;
}

std::uintptr_t CurrentThreadToken() noexcept {
  return GetCurrentThreadId();
}

void SleepMs(unsigned ms) noexcept {
  // INFINITE means "no limit" to the system.
  Sleep(ms == INFINITE ? INFINITE - 1 : ms);
}

bool ProcessIsExiting() noexcept {
  return shutdownInProgress != nullptr && shutdownInProgress();
}

// The system's headers do not give the location of the lock, but it is the same in every 64-bit version.
bool HoldsLoaderLock() noexcept {
  if (processBlock == nullptr) return false;
  constexpr std::size_t kLoaderLock = 0x110;
  const auto* const lock = *reinterpret_cast<const CRITICAL_SECTION* const*>(processBlock() + kLoaderLock);
  if (lock == nullptr) return false;
  return reinterpret_cast<std::uintptr_t>(lock->OwningThread) == GetCurrentThreadId();
}

TThread::~TThread() = default;
TThread::TThread(TThread&& other) noexcept = default;
TThread& TThread::operator=(TThread&& other) noexcept = default;

bool TThread::Start(const char* name, std::function<void()> body) noexcept try {
  auto native = std::make_shared<TNative>();
  if (native->ended == nullptr) return false;
  std::wstring wideName;
  for (const char* c = name; *c != '\0'; ++c) wideName.push_back(static_cast<unsigned char>(*c));
  auto start =
      std::make_unique<TNative::TStart>(TNative::TStart{std::move(wideName), std::move(body), native});
  PinThisModule();
  if (!native->Create(start.get())) return false;
  start.release();  // NOLINT(bugprone-unused-return-value): the new thread deletes it
  native_ = std::move(native);
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

bool TThread::Join(int timeoutMs) noexcept {
  if (!native_) return true;
  AssertNoLockHeld("TThread::Join");
  const bool standStill = HoldsLoaderLock();
  const bool neverBegins = standStill && !native_->taken.exchange(true);
  if (!neverBegins && !WaitAnsweringSentMessages(native_->ended, native_->handle, timeoutMs)) return false;
  // What counts is the end of the body. The thread itself ends right after it, unless another thread holds
  // the loader lock.
  if (!standStill) WaitAnsweringSentMessages(native_->handle, kExitMs);
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
