// The system's own message loop and windows.
#include <windows.h>

#include <chrono>

#include "flat/LoopSession.h"

extern "C" void* __imp_PostMessageA;  // target of the program's calls of PostMessageA

namespace vektest {
namespace {

constexpr UINT kEventsQueued = 1073;

HWND LoopWindow() {
  return FindWindowExA(HWND_MESSAGE, nullptr, "VekApiMessageWindow", nullptr);
}

TEST_F(LoopSession, AnOrdinaryMessageLoopServesIt) {
  SignOnOnLoop();
  const DWORD here = GetCurrentThreadId();
  onEvent = [](CVekClient*, const std::string& line) {
    if (line == "report end") PostQuitMessage(7);
  };
  const auto link = mes;
  std::thread network(
      [&] { link->Deliver(Message(130, "a") + TaskResult("w", "\x02T\n") + Message(130, "end")); });
  MSG message;
  int queued = 0;
  while (GetMessageA(&message, nullptr, 0, 0) > 0) {
    if (message.message == kEventsQueued) {
      ++queued;
      EXPECT_EQ(message.wParam, 0u);
      EXPECT_EQ(message.lParam, 0);
      EXPECT_EQ(GetWindowThreadProcessId(message.hwnd, nullptr), here);
    }
    DispatchMessageA(&message);
  }
  network.join();
  EXPECT_EQ(message.wParam, 7u);
  EXPECT_GE(queued, 1);
  EXPECT_EQ(Take(), (Lines{"report a", "result w", "report end"}));
}

// Runs one message as programs do; false if there was none.
bool RunOneMessage() {
  MSG message;
  if (!PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) return false;
  DispatchMessageA(&message);
  return true;
}

bool RunLibrarysLoop() {
  return CVekMessageLoop_Dispatch(0) > 0;
}

HWND PlainWindow(WNDPROC procedure) {
  const HWND window = CreateWindowA("STATIC", "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
  SetWindowLongPtrA(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(procedure));
  return window;
}

int ticks = 0;

LRESULT CALLBACK CountTicks(HWND window, UINT message, WPARAM first, LPARAM second) {
  if (message == WM_TIMER) ++ticks;
  return DefWindowProcA(window, message, first, second);
}

// More events than the thread can handle in seconds: a timer, which Windows delivers after all posted
// messages, still ticks among them.
TEST_F(LoopSession, TimersOfTheProgramTickAmongEvents) {
  for (bool (*const run)() : {RunOneMessage, RunLibrarysLoop}) {
    SignOnOnLoop();
    constexpr std::size_t kEvents = 5000;
    std::string reports;
    for (std::size_t i = 0; i < kEvents; ++i) reports += Report(static_cast<int>(i));
    Queue(reports);
    onEvent = [&](CVekClient*, const std::string&) {
      const auto until = std::chrono::steady_clock::now() + std::chrono::microseconds(500);
      while (std::chrono::steady_clock::now() < until) continue;
      time.AdvanceTo(time.NowNs() + 500'000);
    };
    const HWND window = PlainWindow(&CountTicks);
    ticks = 0;
    SetTimer(window, 1, 10, nullptr);
    while (ticks < 5 && lines.size() < kEvents) run();
    EXPECT_EQ(ticks, 5) << lines.size() << " events came before";
    DestroyWindow(window);
    onEvent = nullptr;
    CVekClient_Delete(&client);
    Take();
  }
}

bool SentMessageWaits() {
  return (HIWORD(GetQueueStatus(QS_SENDMESSAGE)) & QS_SENDMESSAGE) != 0;
}

LRESULT CALLBACK WorkUntilAMessageIsSent(HWND window, UINT message, WPARAM first, LPARAM second) {
  while (message == WM_USER && !SentMessageWaits()) std::this_thread::yield();
  return DefWindowProcA(window, message, first, second);
}

// COM calls to other programs fail inside a sent message. A result behind queued events must not make a
// thread that is busy otherwise deliver them inside it.
TEST_F(LoopSession, QueuedEventsComeInPostedMessages) {
  SignOnOnLoop();
  Lines inSent;
  onEvent = [&](CVekClient*, const std::string& line) {
    if (InSendMessage()) inSent.push_back(line);
  };
  const HWND window = PlainWindow(&WorkUntilAMessageIsSent);
  for (int i = 0; i < 2; ++i) PostMessageA(window, WM_USER, 0, 0);
  Queue(Message(130, "a") + Message(130, "b"));
  DeliverFromLink(TaskResult("w", "\x02T\n") + Message(130, "c"));
  DispatchAll();
  EXPECT_EQ(inSent, Lines{"result w"});
  EXPECT_EQ(Take(), (Lines{"report a", "report b", "result w", "report c"}));
  DestroyWindow(window);
}

HWND MessageBoxOnScreen() {
  return FindWindowA("#32770", "VekApi test");
}

// The system's own loop inside a callback; another callback deletes the client there.
TEST_F(LoopSession, AMessageBoxServesIt) {
  const std::string result = TaskResult("w", "\x02T\n");
  for (const bool deletes : {false, true}) {
    SignOnOnLoop();
    int answer = 0;
    onEvent = [&](CVekClient*, const std::string& line) {
      if (line == "report open") answer = MessageBoxA(nullptr, "?", "VekApi test", MB_OK);
      if (line == "report close") PostMessageA(MessageBoxOnScreen(), WM_CLOSE, 0, 0);
      if (line == "report close" && deletes) CVekClient_Delete(&client);
    };
    const auto link = mes;
    ServeWhile([&] {
      link->Deliver(Message(130, "open"));
      while (MessageBoxOnScreen() == nullptr) std::this_thread::yield();
      link->Deliver(result + Message(130, "a") + result + Message(130, "close") + Message(130, "late"));
    });
    DispatchAll();
    EXPECT_NE(answer, 0) << "it was open, and was closed";
    Lines expected{"report open", "result w", "report a", "result w", "report close"};
    expected.push_back(deletes ? "destroy" : "report late");
    EXPECT_EQ(Take(), expected);
    onEvent = nullptr;
    CVekClient_Delete(&client);
    Take();
  }
}

TEST_F(LoopSession, QuittingIsLeftToTheProgram) {
  SignOnOnLoop();
  PostQuitMessage(3);
  EXPECT_EQ(CVekMessageLoop_Dispatch(-1), -1);
  MSG message;
  EXPECT_EQ(GetMessageA(&message, nullptr, 0, 0), 0);
  EXPECT_EQ(message.wParam, 3u);
}

TEST_F(LoopSession, MessagesOfOthersGetTheSystemsTreatment) {
  SignOnOnLoop();
  const HWND window = LoopWindow();
  ASSERT_NE(window, nullptr);
  SetWindowTextA(window, "title");
  char text[16] = {};
  GetWindowTextA(window, text, sizeof text);
  EXPECT_STREQ(text, "title");
  CVekClient_Delete(&client);
  EXPECT_EQ(LoopWindow(), nullptr);
}

// Any program of the same user can send to the window.
TEST_F(LoopSession, ForgedMessagesDoNothing) {
  SignOnOnLoop();
  const HWND window = LoopWindow();
  const UINT deallocate = RegisterWindowMessageA("VekApiMessageWindow.Deallocate");
  ServeWhile([&] {
    for (const UINT message : {1074u, 1075u, deallocate}) {
      EXPECT_EQ(SendMessageA(window, message, 1, 1), 0);
      PostMessageA(window, message, 1, 1);
    }
    PostMessageA(window, 1073, 1, 1);
  });
  DispatchAll();
  EXPECT_EQ(Take(), Lines{});
  DeliverFromLink(TaskResult("w", "\x02T\n"));
  EXPECT_EQ(Take(), Lines{"result w"});
}

int refusals = 0;

BOOL WINAPI RefusePost(HWND, UINT, WPARAM, LPARAM) {
  ++refusals;
  SetLastError(ERROR_NOT_ENOUGH_QUOTA);
  return FALSE;
}

// Replaces the system's function in the import table through which the program calls it.
template <class TFunction>
class TInTheSystemsPlace {
 public:
  TInTheSystemsPlace(void** entry, TFunction* function) : entry_(entry), before_(*entry) {
    Write(reinterpret_cast<void*>(function));
  }
  ~TInTheSystemsPlace() { Write(before_); }
  TInTheSystemsPlace(const TInTheSystemsPlace&) = delete;
  TInTheSystemsPlace& operator=(const TInTheSystemsPlace&) = delete;

 private:
  void Write(void* function) {
    DWORD access = 0;
    VirtualProtect(entry_, sizeof(void*), PAGE_READWRITE, &access);
    *entry_ = function;
    VirtualProtect(entry_, sizeof(void*), access, &access);
  }

  void** const entry_;
  void* const before_;
};

// A queue with ten thousand messages accepts no more. Not every Windows has that limit.
TEST_F(LoopSession, PostsThatTheSystemRefusesAreTriedAgain) {
  SignOnOnLoop();
  refusals = 0;
  {
    const TInTheSystemsPlace full(&__imp_PostMessageA, RefusePost);
    std::thread([&] { mes->Deliver(Message(130, "a") + Message(130, "b")); }).join();
    EXPECT_EQ(refusals, 1) << "the second event relies on the timer";
    time.Advance(1000);
    EXPECT_EQ(refusals, 2);
    DispatchAll();
    EXPECT_EQ(Take(), Lines{});
  }
  time.Advance(999);
  DispatchAll();
  EXPECT_EQ(Take(), Lines{});
  time.Advance(1);
  EXPECT_EQ(CVekMessageLoop_Dispatch(0), 1);
  EXPECT_EQ(Take(), (Lines{"report a", "report b"}));
}

LRESULT CALLBACK RefuseWindows(int code, WPARAM first, LPARAM second) {
  return code == HCBT_CREATEWND ? 1 : CallNextHookEx(nullptr, code, first, second);
}

TEST(MessageLoopCreation, WithoutAWindowThereIsNoClient) {
  const HHOOK hook = SetWindowsHookExA(WH_CBT, RefuseWindows, nullptr, GetCurrentThreadId());
  ASSERT_NE(hook, nullptr);
  const CVekClient client = CVekClient_Create_OnMessageLoop(nullptr, nullptr);
  UnhookWindowsHookEx(hook);
  EXPECT_EQ(client.object, nullptr);
  CVekClient second = CVekClient_Create_OnMessageLoop(nullptr, nullptr);
  EXPECT_NE(second.object, nullptr);
  CVekClient_Delete(&second);
}

}  // namespace
}  // namespace vektest
