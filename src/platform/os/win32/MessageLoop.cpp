#include "platform/os/MessageLoop.h"

#include <windows.h>

#include <mutex>

#include "platform/os/Mutex.h"

namespace Dova::Os {

struct TMessageLoop::TNative {
  TMutex mutex;
  DWORD thread = 0;  // of the running loop
  bool quit = false;
};

TMessageLoop::TMessageLoop() : native_(std::make_unique<TNative>()) {}
TMessageLoop::~TMessageLoop() = default;

void TMessageLoop::Run() {
  AssertNoLockHeld("TMessageLoop::Run");
  MSG message;
  PeekMessageA(&message, nullptr, 0, 0,
               PM_NOREMOVE);  // gives the thread a message queue that Quit can post to
  {
    const std::lock_guard lock(native_->mutex);
    if (native_->quit) return;
    native_->thread = GetCurrentThreadId();
  }
  while (GetMessageA(&message, nullptr, 0, 0) > 0) {
    TranslateMessage(&message);
    DispatchMessageA(&message);
  }
  const std::lock_guard lock(native_->mutex);
  native_->thread = 0;
}

void TMessageLoop::Quit() noexcept {
  const std::lock_guard lock(native_->mutex);
  native_->quit = true;
  if (native_->thread) PostThreadMessageA(native_->thread, WM_QUIT, 0, 0);
}

}  // namespace Dova::Os
