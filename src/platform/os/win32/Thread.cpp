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

// Functions that are not in every Windows version, or in no import library.
template <class TFunction>
TFunction FindFunction(const wchar_t* module, const char* name) noexcept {
  const HMODULE handle = GetModuleHandleW(module);
  if (handle == nullptr) return nullptr;
  return reinterpret_cast<TFunction>(reinterpret_cast<void*>(GetProcAddress(handle, name)));
}

// Looked for when the library is loaded: it takes the loader lock, whose holder may later be waiting for the
// thread that asks.
const auto setThreadDescription =
    FindFunction<HRESULT(WINAPI*)(HANDLE, PCWSTR)>(L"kernel32.dll", "SetThreadDescription");
const auto processBlock = FindFunction<const char*(NTAPI*)()>(L"ntdll.dll", "RtlGetCurrentPeb");
const auto shutdownInProgress = FindFunction<BOOLEAN(NTAPI*)()>(L"ntdll.dll", "RtlDllShutdownInProgress");

void NameThisThread(const wchar_t* name) noexcept {
  if (setThreadDescription != nullptr) setThreadDescription(GetCurrentThread(), name);
}

// For good: to give it back with the last thread's end, each start would have to take the loader lock, and
// threads are started under locks that its holder may be waiting for. For the same reason without a guard.
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
  const HANDLE ended = CreateEventW(nullptr, TRUE, FALSE, nullptr);  // the body has
  DWORD id = 0;
  std::atomic<bool> taken{false};  // by the thread, to run the body, or by a joiner, that it never runs

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

// What the body holds goes before the end is announced: a joiner may count on it.
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
  // The largest number means "for ever" to the system.
  Sleep(ms == INFINITE ? INFINITE - 1 : ms);
}

bool ProcessIsExiting() noexcept {
  return shutdownInProgress != nullptr && shutdownInProgress();
}

// Where the system keeps its lock is not in its headers, but has been the same in every 64-bit version.
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
  // The body's end is what counts. The thread's own follows at once, but for somebody who holds the loader
  // lock.
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
