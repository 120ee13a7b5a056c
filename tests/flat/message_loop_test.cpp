// Events on the message loop: what comes when, and what callbacks may do.
#include <stdexcept>

#include "flat/LoopSession.h"
#include "platform/os/MessageWindow.h"

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

TEST_F(LoopSession, EveryEventComesOnTheLoopsThreadInTheOrderOfTheWire) {
  CreateOnLoop();
  const auto here = std::this_thread::get_id();
  onEvent = [&](CVekClient* handle, const std::string& line) {
    EXPECT_EQ(std::this_thread::get_id(), here) << line;
    EXPECT_EQ(handle->object, client.object);
  };
  const std::string unknown = Pack(77, std::string("a\0b", 3));
  Connect();
  ServeWhile([&] {
    mes->Ready();
    mes->Deliver(ConnectResult(false, {}) + SgnResult() + TaskResult("w7", "\x02T\n") +
                 ChgPassResult("id", "changed") + Message(129, "w1\nw2") + unknown + kResult +
                 Message(130, "filled"));
  });
  CVekClient_Disconnect(&client);
  DispatchAll();
  // The state is that of the moment the callback runs.
  const std::string accepted = Take().front();
  EXPECT_EQ(accepted.rfind("connect ", 0), 0u);
  CVekClient_Delete(&client);
}

TEST_F(LoopSession, ResultsKeepTheirPlaceAmongQueuedEvents) {
  SignOnOnLoop();
  DeliverFromLink(Message(130, "a") + kResult + Message(129, "w1") + ChgPassResult("id", "x") +
                  Message(130, "b") + Pack(77, std::string("a\0b", 3)));
  DispatchAll();
  EXPECT_EQ(Take(), (Lines{"report a", "result w", "ack 129 w1", "chgpass id x", "report b",
                           "unknown 77 " + Pack(77, std::string("a\0b", 3))}));
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

TEST_F(LoopSession, CallsOnTheLoopsOwnThreadQueueTheirEventsToo) {
  SignOnOnLoop();
  CVekClient_Disconnect(&client);
  EXPECT_EQ(Take(), Lines{});
  DispatchAll();
  EXPECT_EQ(Take(), Lines{"connect -1 Disconnect()"});
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

TEST_F(LoopSession, WhatACallbackThrowsIsDropped) {
  SignOnOnLoop();
  onEvent = [](CVekClient*, const std::string& line) { throw std::runtime_error(line); };
  DeliverFromLink(Message(130, "a") + Message(130, "b") + kResult + Message(130, "c"));
  DispatchAll();
  EXPECT_EQ(Take().size(), 4u);
}

// A thread that stays away from its loop: whatever comes is kept.
TEST_F(LoopSession, NothingIsLostWhileTheLoopIsBusy) {
  SignOnOnLoop();
  constexpr int kEvents = 20'000;
  std::thread([&] {
    for (int i = 0; i < kEvents; ++i) mes->Deliver(Message(130, std::to_string(i)));
  }).join();
  EXPECT_EQ(CVekMessageLoop_Dispatch(-1), 1);
  const Lines seen = Take();
  ASSERT_EQ(seen.size(), static_cast<std::size_t>(kEvents));
  for (int i = 0; i < kEvents; ++i) {
    ASSERT_EQ(seen[static_cast<std::size_t>(i)], "report " + std::to_string(i));
  }
}

struct NoHandler final : Dova::Os::TMessageHandler {
  bool OnMessage(const Dova::Os::TMessage&) noexcept override { return true; }
  void OnWindowGone() noexcept override {}
};

// As many posts as a thread's queue takes. Where the system knows no limit the event needs no second try.
TEST_F(LoopSession, AFullMessageQueueIsTriedAgain) {
  SignOnOnLoop();
  NoHandler handler;
  const auto window = Dova::Os::AllocateHWnd_Impl(handler);
  bool full = false;
  for (int i = 0; i < 12'000 && !full; ++i) full = !window->Post(1100);
  std::thread([&] { mes->Deliver(Message(130, "a")); }).join();
  RecordProperty("full", full);
  time.Advance(1000);  // still full
  DispatchAll();
  EXPECT_EQ(Take(), full ? Lines{} : Lines{"report a"});
  std::thread([&] { mes->Deliver(Message(130, "b")); }).join();
  time.Advance(999);
  DispatchAll();
  time.Advance(1);
  DispatchAll();
  EXPECT_EQ(Take(), full ? (Lines{"report a", "report b"}) : Lines{"report b"});
  Dova::Os::DeallocateHWnd(window);
}

TEST_F(LoopSession, DeletionDropsWhatIsQueued) {
  SignOnOnLoop();
  std::thread([&] { mes->Deliver(Message(130, "a") + Message(130, "b")); }).join();
  onEvent = [](CVekClient*, const std::string&) { DispatchAll(); };
  CVekClient_Delete(&client);
  DispatchAll();
  EXPECT_EQ(Take(), Lines{"destroy"});
}

// The deletion waits for the loop's thread, and is let in inside a loop in the middle of a callback.
TEST_F(LoopSession, AnotherThreadMayDeleteWhileTheLoopRuns) {
  SignOnOnLoop();
  std::thread([&] { mes->Deliver(Message(130, "a") + Message(130, "b")); }).join();
  onEvent = [&](CVekClient*, const std::string& line) {
    if (line == "report a") ServeWhile([&] { CVekClient_Delete(&client); });
  };
  DispatchAll();
  EXPECT_EQ(Take(), (Lines{"report a", "destroy"}));
}

TEST_F(LoopSession, AClientOutlivesItsThread) {
  std::thread([&] {
    CreateOnLoop();
    SignOn();
  }).join();
  Take();
  mes->Deliver(Message(130, "a") + kResult);  // nobody to wait for
  CVekClient_Delete(&client);
  EXPECT_EQ(Take(), Lines{"destroy"});
}

}  // namespace
}  // namespace vektest
