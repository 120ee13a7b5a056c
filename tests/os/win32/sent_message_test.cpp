#include <gtest/gtest.h>

#include <windows.h>

#include <thread>

#include "os/win32/HandleShortage.h"
#include "platform/os/Event.h"
#include "platform/os/Thread.h"

namespace {

using Dova::Os::TEvent;
using Dova::Os::TThread;

constexpr UINT kSent = WM_USER + 1;
constexpr UINT kPosted = WM_USER + 2;

int postedSeen = 0;

LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == kSent) return static_cast<LRESULT>(wParam) + 1;
  if (message == kPosted) ++postedSeen;
  return DefWindowProcW(window, message, wParam, lParam);
}

// A message-only window of the test's thread.
struct TWindow {
  HWND handle;
  TWindow() {
    WNDCLASSW type{};
    type.lpfnWndProc = Procedure;
    type.hInstance = GetModuleHandleW(nullptr);
    type.lpszClassName = L"SentMessageTest";
    RegisterClassW(&type);
    handle =
        CreateWindowW(L"SentMessageTest", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, type.hInstance, nullptr);
  }
  ~TWindow() { DestroyWindow(handle); }
};

TEST(SentMessages, AnsweredWhileWaitingForAnEvent) {
  const TWindow window;
  ASSERT_NE(window.handle, nullptr);
  postedSeen = 0;
  const auto withHandle = std::make_unique<TEvent>();
  const auto without = TestSupport::MadeWithout<TEvent>(TestSupport::kEvents);
  for (TEvent* const done : {withHandle.get(), without.get()}) {
    std::thread other([&] {
      PostMessageW(window.handle, kPosted, 0, 0);
      for (WPARAM i = 0; i < 100; ++i) {
        EXPECT_EQ(SendMessageW(window.handle, kSent, i, 0), static_cast<LRESULT>(i) + 1);
      }
      done->Set();
    });
    EXPECT_TRUE(done->Wait());
    other.join();
  }
  EXPECT_EQ(postedSeen, 0) << "a posted message was handed out inside the wait";
}

TEST(SentMessages, AnsweredWhileJoiningAThread) {
  const TWindow window;
  LRESULT answer = 0;
  TThread thread;
  ASSERT_TRUE(thread.Start("sender", [&] { answer = SendMessageW(window.handle, kSent, 41, 0); }));
  EXPECT_TRUE(thread.Join());
  EXPECT_EQ(answer, 42);
}

// Answering messages does not extend the timeout.
TEST(SentMessages, TimeoutHoldsUnderFire) {
  const TWindow window;
  std::atomic<bool> stop{false};
  std::thread other([&] {
    while (!stop) SendMessageTimeoutW(window.handle, kSent, 0, 0, SMTO_NORMAL, 100, nullptr);
  });
  TEvent never;
  EXPECT_FALSE(never.Wait(50));
  stop = true;
  TEvent{}.Wait(200);  // answers the last one
  other.join();
}

}  // namespace
