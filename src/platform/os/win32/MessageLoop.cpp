#include "platform/os/MessageLoop.h"

#include <windows.h>

#include <atomic>

#include "platform/os/Mutex.h"

namespace Dova::Os {

struct TMessageLoop::TNative {
  std::atomic<DWORD> thread{0};  // of the running loop
  std::atomic<bool> quit{false};

  void Nudge() const noexcept;
  bool RunMessages() const noexcept;
};

TMessageLoop::TMessageLoop() : native_(std::make_unique<TNative>()) {}
TMessageLoop::~TMessageLoop() = default;

// A message without effect ends the loop's wait. If the queue is full, the loop is awake anyway.
void TMessageLoop::TNative::Nudge() const noexcept {
  if (thread != 0) PostThreadMessageA(thread, WM_NULL, 0, 0);
}

// Runs all queued messages; false when told to quit.
bool TMessageLoop::TNative::RunMessages() const noexcept {
  MSG message;
  while (!quit && PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) {
    if (message.message == WM_QUIT) return false;
    TranslateMessage(&message);
    DispatchMessageA(&message);
  }
  return !quit;
}

void TMessageLoop::Run(TChore chore) {
  AssertNoLockHeld("TMessageLoop::Run");
  MSG message;
  PeekMessageA(&message, nullptr, 0, 0, PM_NOREMOVE);  // creates the thread's message queue
  native_->thread = GetCurrentThreadId();
  // Later calls of Quit and Wake find the thread; earlier ones are seen now.
  while (native_->RunMessages()) {
    const DWORD waitMs = chore() ? kAgainMs : INFINITE;
    const DWORD result = MsgWaitForMultipleObjectsEx(0, nullptr, waitMs, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    if (result == WAIT_FAILED) Sleep(kAgainMs);
  }
  native_->thread = 0;
}

void TMessageLoop::Wake() noexcept {
  native_->Nudge();
}

void TMessageLoop::Quit() noexcept {
  native_->quit = true;
  native_->Nudge();
}

}  // namespace Dova::Os
