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
  std::atomic<bool> deallocating{false};  // anybody can send the message that asks for it
  unsigned goesOn = 0;                    // code that PostLast has posted; on the window's thread
};

namespace {

constexpr char kClassName[] = "VekApiMessageWindow";

// Asks a window, on its own thread, to go; answers 1.
UINT DeallocateMessage() noexcept {
  static const UINT message = RegisterWindowMessageA("VekApiMessageWindow.Deallocate");
  return message;
}

TMessageWindow::TNative* NativeOf(HWND window) noexcept {
  return reinterpret_cast<TMessageWindow::TNative*>(GetWindowLongPtrA(window, GWLP_USERDATA));
}

void Close(TMessageWindow::TNative& native);

// From a code to that of the message by which PostLast goes on at once.
constexpr UINT kGoesOn = WM_APP - WM_USER;

// What came from PostLast becomes the message that it was asked for. The system lets a timer, whose number is
// the code, come behind everything else.
void TakeLast(TMessageWindow::TNative& native, UINT& message, WPARAM& first) noexcept {
  if (message == WM_TIMER && first >= WM_USER) {
    KillTimer(native.handle, first);
    message = static_cast<UINT>(first);
    first = 0;
  } else if (native.goesOn != 0 && message == native.goesOn + kGoesOn) {
    message = std::exchange(native.goesOn, 0);
  }
}

// For which a posted message would not wait. Looking on does not take away from the news that a thread's next
// wait ends with: it is in the middle of its loop.
bool OthersWait() noexcept {
  return HIWORD(GetQueueStatus(QS_INPUT | QS_HOTKEY | QS_PAINT | QS_TIMER)) != 0;
}

// Neither the window nor its handler may be touched once the handler was called: it may have deallocated
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

// The class is there while a window is: a library that is unloaded must not leave behind a class whose
// procedure is gone, which the next one to be loaded at the same place would find.
std::mutex classMutex;

HWND MakeWindow() noexcept {
  const HINSTANCE module = ThisModule();
  WNDCLASSA type{};
  type.lpfnWndProc = WindowProcedure;
  type.hInstance = module;
  type.lpszClassName = kClassName;
  const std::lock_guard lock(classMutex);
  RegisterClassA(&type);  // fails when it is there already
  return CreateWindowExA(0, kClassName, "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, module, nullptr);
}

void UnmakeWindow(HWND window) noexcept {
  const std::lock_guard lock(classMutex);
  if (window != nullptr) DestroyWindow(window);
  UnregisterClassA(kClassName, ThisModule());  // fails while there are other windows
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

// Another window may have got the handle since.
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
  // The thread has ended, and the window with it.
  UnmakeWindow(nullptr);
  native.handler.OnWindowGone();
}

}  // namespace Dova::Os
