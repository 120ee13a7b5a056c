#include "platform/os/MessageWindow.h"

#include <windows.h>

#include <atomic>
#include <mutex>
#include <utility>

#include "platform/os/win32/MessageCount.h"

namespace Dova::Os {

struct TMessageWindow::TNative {
  TNative(HWND window, TMessageHandler& called)
      : handle(window), thread(GetCurrentThreadId()), handler(called) {}

  HWND handle;
  DWORD thread;
  TMessageHandler& handler;
  std::atomic<bool> deallocating{false};  // guards against forged messages: any process can send one
  unsigned goesOn = 0;                    // code posted by PostLast; on the window's thread only
};

namespace {

constexpr char kClassName[] = "VekApiMessageWindow";

// Asks a window, on its own thread, to close; returns 1.
UINT DeallocateMessage() noexcept {
  static const UINT message = RegisterWindowMessageA("VekApiMessageWindow.Deallocate");
  return message;
}

TMessageWindow::TNative* NativeOf(HWND window) noexcept {
  return reinterpret_cast<TMessageWindow::TNative*>(GetWindowLongPtrA(window, GWLP_USERDATA));
}

void Close(TMessageWindow::TNative& native);

// Offset from a code to the message with which PostLast continues immediately.
constexpr UINT kGoesOn = WM_APP - WM_USER;

// Translates a message of PostLast into the requested message. The system delivers timers, whose id is the
// code, after everything else.
void TakeLast(TMessageWindow::TNative& native, UINT& message, WPARAM& first) noexcept {
  if (message == WM_TIMER && first >= WM_USER) {
    KillTimer(native.handle, first);
    message = static_cast<UINT>(first);
    first = 0;
  } else if (native.goesOn != 0 && message == native.goesOn + kGoesOn) {
    message = std::exchange(native.goesOn, 0);
  }
}

// True if input is waiting that a posted message would overtake. This check does not consume the wake-up of
// the thread's next wait, because the thread is inside its loop.
bool OthersWait() noexcept {
  return HIWORD(GetQueueStatus(QS_INPUT | QS_HOTKEY | QS_PAINT | QS_TIMER)) != 0;
}

// After the handler was called, neither it nor the window may be accessed: the call may have deallocated
// both.
LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM first, LPARAM second) {
  TMessageWindow::TNative* const native = NativeOf(window);
  if (!native) return DefWindowProcA(window, message, first, second);
  if (message == DeallocateMessage()) {
    if (!native->deallocating) return 0;
    Close(*native);
    return 1;
  }
  TakeLast(*native, message, first);
  const bool sent = InSendMessage() != FALSE;
  if (!native->handler.OnMessage({message, first, static_cast<std::uintptr_t>(second)})) {
    return DefWindowProcA(window, message, first, second);
  }
  if (sent) ++SentMessagesAnswered();
  return 0;
}

HINSTANCE ThisModule() noexcept {
  HMODULE module = nullptr;
  GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<LPCSTR>(reinterpret_cast<void*>(&WindowProcedure)), &module);
  return module;
}

// The class is registered only while a window exists: an unloaded library must not leave a class with a
// dangling procedure, which a library loaded later at the same address would find.
std::mutex classMutex;

HWND MakeWindow() noexcept {
  const HINSTANCE module = ThisModule();
  WNDCLASSA type{};
  type.lpfnWndProc = WindowProcedure;
  type.hInstance = module;
  type.lpszClassName = kClassName;
  const std::lock_guard lock(classMutex);
  RegisterClassA(&type);  // fails if already registered
  return CreateWindowExA(0, kClassName, "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, module, nullptr);
}

void UnmakeWindow(HWND window) noexcept {
  const std::lock_guard lock(classMutex);
  if (window != nullptr) DestroyWindow(window);
  UnregisterClassA(kClassName, ThisModule());  // fails while other windows exist
}

// On the window's thread.
void Close(TMessageWindow::TNative& native) {
  SetWindowLongPtrA(native.handle, GWLP_USERDATA, 0);
  UnmakeWindow(native.handle);
  native.handler.OnWindowGone();
}

}  // namespace

int& SentMessagesAnswered() noexcept {
  thread_local int count = 0;
  return count;
}

TMessageWindow::TMessageWindow(std::unique_ptr<TNative> native) : native_(std::move(native)) {}
TMessageWindow::~TMessageWindow() = default;

EPost TMessageWindow::Post(unsigned code) noexcept {
  if (!IsThere()) return EPost::Gone;
  return PostMessageA(native_->handle, code, 0, 0) != FALSE ? EPost::Posted : EPost::Full;
}

bool TMessageWindow::PostLast(unsigned code) noexcept {
  unsigned& goesOn = native_->goesOn;
  if (goesOn == code) return true;
  if (goesOn == 0 && !OthersWait() && PostMessageA(native_->handle, code + kGoesOn, 0, 0) != FALSE) {
    goesOn = code;
    return true;
  }
  return SetTimer(native_->handle, code, USER_TIMER_MINIMUM, nullptr) != 0;
}

// Another window may have reused the handle.
bool TMessageWindow::IsThere() const noexcept {
  return GetWindowThreadProcessId(native_->handle, nullptr) == native_->thread &&
         NativeOf(native_->handle) == native_.get();
}

void TMessageWindow::Send(const TMessage& message) {
  SendMessageA(native_->handle, message.code, message.first, static_cast<LPARAM>(message.second));
}

TWindowRef AllocateHWnd_Impl(TMessageHandler& handler) noexcept {
  const HWND handle = MakeWindow();
  if (handle == nullptr) {
    UnmakeWindow(nullptr);
    return nullptr;
  }
  try {
    auto native = std::make_unique<TMessageWindow::TNative>(handle, handler);
    auto window = std::make_shared<TMessageWindow>(std::move(native));
    SetWindowLongPtrA(handle, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&window->Native()));
    return window;
  } catch (...) {
    UnmakeWindow(handle);
    return nullptr;
  }
}

void DeallocateHWnd(TWindowRef window) {
  TMessageWindow::TNative& native = window->Native();
  if (native.thread == GetCurrentThreadId() && window->IsThere()) return Close(native);
  native.deallocating = true;
  if (SendMessageA(native.handle, DeallocateMessage(), 0, 0) == 1) return;
  // The thread has ended, and with it the window.
  UnmakeWindow(nullptr);
  native.handler.OnWindowGone();
}

}  // namespace Dova::Os
