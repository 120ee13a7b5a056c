// Events on the message loop: their order, and what callbacks may do.
#include <algorithm>

#include "flat/LoopSession.h"
#include "flat/TPendingEvRecs.h"

namespace vektest {
namespace {

const std::string kResult = TaskResult("w", "\x02T\n");

TEST_F(LoopSession, OneMessageTellsOfManyEvents) {
  SignOnOnLoop();
  std::thread([&] { mes->Deliver(Message(130, "a") + Message(130, "b") + Message(130, "c")); }).join();
  EXPECT_EQ(Take(), Lines{}) << "nothing comes outside the loop";
  EXPECT_EQ(CVekMessageLoop_Dispatch(-1), 1);
  EXPECT_EQ(Take(), (Lines{"report a", "report b", "report c"}));
  EXPECT_EQ(CVekMessageLoop_Dispatch(0), 0);
  std::thread([&] { mes->Deliver(Message(130, "d")); }).join();
  EXPECT_EQ(CVekMessageLoop_Dispatch(-1), 1);
  EXPECT_EQ(Take(), Lines{"report d"});
}

// A callback takes a millisecond, and events arrive faster than that.
TEST_F(LoopSession, OthersOfTheThreadGetTheirTurn) {
  SignOnOnLoop();
  CVekClient other = client;
  const auto otherLink = mes;
  SignOnOnLoop();
  constexpr int kEvents = 100;
  for (int i = 0; i < kEvents; ++i) Queue(Report(i));
  std::thread([&] { otherLink->Deliver(Message(130, "other")); }).join();
  Lines expected;
  for (int i = 0; i < kEvents; ++i) expected.push_back("report " + std::to_string(i));
  expected.push_back("result w");
  expected.push_back("report last");
  onEvent = [&](CVekClient*, const std::string&) { time.Advance(1); };
  EXPECT_GE(CVekMessageLoop_Dispatch(0), 1);
  const auto link = mes;
  ServeWhile([&] { link->Deliver(kResult + Message(130, "last")); });
  DispatchUntil(kEvents + 3);
  Lines seen = Take();
  const auto at = std::find(seen.begin(), seen.end(), "report other");
  EXPECT_LT(at - seen.begin(), 30);
  seen.erase(at);
  EXPECT_EQ(seen, expected) << "in order, the result too";
  onEvent = nullptr;
  CVekClient_Delete(&other);
}

TEST_F(LoopSession, EventsWithoutACallbackTakeNoRoundTrip) {
  CVekClientCallbacks only{};
  only.OnVekConnectEvent = Recording().OnVekConnectEvent;
  CreateOnLoop(only);
  SignOn();
  DispatchAll();
  std::thread([&] { mes->Deliver(Message(130, "r") + kResult + ChgPassResult("id", "x")); }).join();
  EXPECT_EQ(CVekMessageLoop_Dispatch(0), 0);
}

TEST_F(LoopSession, AResultKnowsItsServerAlsoIfNothingCameBeforeIt) {
  CVekClientCallbacks only{};
  only.OnVekTaskResultEvent = Recording().OnVekTaskResultEvent;
  CreateOnLoop(only);
  SignOn();
  std::string server;
  onEvent = [&](CVekClient* handle, const std::string&) { server = CVekClient_ServerName(handle); };
  ServeWhile([&] { mes->Deliver(kResult); });
  EXPECT_EQ(server, CVekClient_ServerName(&client));
  EXPECT_NE(server, "");
}

TEST_F(LoopSession, ATextThatIsTooLongIsToldOnTheLoopsThread) {
  SignOnOnLoop();
  const std::string tooLong(5000, 'x');
  const auto change = [&] { CVekClient_ChgPass(&client, "id", tooLong.c_str(), ""); };
  onEvent = [&](CVekClient*, const std::string& line) {
    if (line == "report again") change();
  };
  change();
  EXPECT_EQ(Take().size(), 1u) << "this thread does not have to wait for itself";
  ServeWhile(change);
  EXPECT_EQ(Take().size(), 1u);
  DeliverFromLink(Message(130, "again"));
  DispatchAll();
  EXPECT_EQ(Take().size(), 2u);
}

// The handle is in a structure that the last callback frees; its memory is reused at once.
TEST_F(LoopSession, TheLastCallbackMayFreeTheHandle) {
  for (const bool onLoop : {false, true}) {
    if (onLoop) {
      CreateOnLoop();
    } else {
      Create();
    }
    CVekClient mine = std::exchange(client, {});
    char others = 0;
    onEvent = [&](CVekClient*, const std::string&) { mine.object = &others; };
    CVekClient_Delete(&mine);
    EXPECT_EQ(mine.object, &others);
    EXPECT_EQ(Take(), Lines{"destroy"});
  }
}

// A nested loop reads on, into memory used again, while a callback still has its text.
TEST(PendingEvents, ATextStaysWhileItsBatchIsHeld) {
  NoHandler handler;
  const Dova::Os::TWindowRef window = Dova::Os::AllocateHWnd_Impl(handler);
  TPendingEvRecs pending(window, 1073);
  pending.Push({pev_Report, -1, "outer"});
  TPendingEv outer;
  TEventBatchRef held;
  ASSERT_TRUE(pending.Pop(outer, held));
  std::string text;
  for (int i = 0; i < 1000; ++i) {
    text.assign(i % 7 == 0 ? 9000 : 9, static_cast<char>('a' + i % 26));
    for (int j = 0; j < 2; ++j) pending.Push({pev_Report, i, text});
    TPendingEv event;
    TEventBatchRef batch;
    for (int j = 0; j < 2; ++j) ASSERT_TRUE(pending.Pop(event, batch) && event.text == text) << i;
    ASSERT_FALSE(pending.Pop(event, batch));
  }
  EXPECT_EQ(outer.text, "outer");
  Dova::Os::DeallocateHWnd(window);
}

// Also if results were waiting: otherwise memory would grow with whatever a server sends.
TEST(PendingEvents, TheQueueClosesWithItsThread) {
  for (const int before : {0, 3}) {
    NoHandler handler;
    std::shared_ptr<TPendingEvRecs> pending;
    Dova::Os::TWindowRef window;
    std::thread([&] {
      window = Dova::Os::AllocateHWnd_Impl(handler);
      pending = std::make_shared<TPendingEvRecs>(window, 1073);
      for (int i = 0; i < before; ++i) pending->Push({pev_Report, -1, "a"});
    }).join();
    for (int i = 0; i < 1000; ++i) pending->Push({pev_Report, -1, "b"});
    TPendingEv event;
    TEventBatchRef batch;
    EXPECT_FALSE(pending->Pop(event, batch));
    Dova::Os::DeallocateHWnd(window);
  }
}

}  // namespace
}  // namespace vektest
