// Connecting, disconnecting and deleting while results are being sent to the loop's thread.
#include <algorithm>

#include "flat/LoopSession.h"

namespace vektest {
namespace {

const std::string kTableResult = TaskResult("w", "\x02T\n");
const std::string kChange = ChgPassResult("id", "x");

class LoopCalls : public LoopSession {
 protected:
  // In every case this thread must return, and the link's thread too.
  void Act(const std::string& act) {
    if (act == "disconnect" || act == "both") CVekClient_Disconnect(&client);
    if (act == "connect" || act == "both") Connect();
    if (act == "twice") {
      Connect();
      Connect();
      mes->Ready();
      CVekClient_Disconnect(&client);
    }
    if (act == "delete") CVekClient_Delete(&client);
  }
  static constexpr const char* kActs[] = {"disconnect", "connect", "both", "twice", "delete"};

  // Once, inside the event that starts with `start`.
  void ActInside(const std::string& start, const std::string& act) {
    onEvent = [this, start, act, acted = false](CVekClient*, const std::string& line) mutable {
      if (line.rfind(start, 0) == 0 && !std::exchange(acted, true)) Act(act);
    };
  }

  bool IsUsable() {
    SignOn();
    DispatchAll();
    Take();
    DeliverFromLink(kTableResult + Message(130, "r"));
    DispatchAll();
    return Take() == Lines{"result w", "report r"};
  }
};

// The link's thread waits inside the context for an answer while the callback wants the context.
TEST_F(LoopCalls, InsideAResultThatTheLinkWaitsFor) {
  for (const char* act : kActs) {
    for (const std::string& message : {kTableResult, kChange}) {
      SCOPED_TRACE(act);
      onEvent = nullptr;
      SignOnOnLoop();
      ActInside(message == kTableResult ? "result" : "chgpass", act);
      DeliverFromLink(message + Message(130, "late") + kTableResult);
      DispatchAll();
      const Lines seen = Take();
      EXPECT_EQ(std::count(seen.begin(), seen.end(), "report late"), 0) << "the rest of the block is dropped";
      if (client.object) {
        EXPECT_TRUE(IsUsable());
      }
      CVekClient_Delete(&client);
      Take();
    }
  }
}

TEST_F(LoopCalls, InsideAQueuedEvent) {
  for (const char* act : kActs) {
    SCOPED_TRACE(act);
    SignOnOnLoop();
    ActInside("report", act);
    DeliverFromLink(Message(130, "a") + Message(130, "b") + kTableResult + Message(130, "c"));
    DispatchAll();
    const Lines seen = Take();
    if (client.object) {
      EXPECT_TRUE(IsUsable());
    } else {
      // Events that were about to be delivered when the deletion began may still run inside it.
      EXPECT_EQ(seen.front(), "report a");
      EXPECT_EQ(seen.back(), "destroy");
    }
    CVekClient_Delete(&client);
    Take();
  }
}

// This thread waits for the context, held by the link's thread, which waits for this one. So the result is
// answered inside the call, and the actions of its callback precede those of the call. If the link has not
// got that far, the result is dropped.
TEST_F(LoopCalls, WhileAResultIsOnItsWay) {
  for (const char* act : {"disconnect", "connect", "delete"}) {
    for (const char* inner : {"nothing", "disconnect", "connect", "delete"}) {
      SCOPED_TRACE(std::string(act) + ", inside it " + inner);
      SignOnOnLoop();
      ActInside("result", inner);
      WithOnItsWay(kTableResult + Message(130, "late"), [&] { Act(act); });
      const Lines seen = Take();
      const auto result = std::find(seen.begin(), seen.end(), "result w");
      EXPECT_TRUE(result == seen.begin() || result == seen.end());
      EXPECT_EQ(std::count(seen.begin(), seen.end(), "destroy"), client.object ? 0 : 1);
      onEvent = nullptr;
      if (client.object) {
        EXPECT_TRUE(IsUsable());
      }
      CVekClient_Delete(&client);
      Take();
    }
  }
}

struct Trigger {
  const char* event;
  std::function<void(TestMes&)> raise;  // and another event after it
};
const Trigger kTriggers[] = {
    {"unknown", [](TestMes& link) { link.Deliver(Pack(77, "x") + Message(130, "late")); }},
    {"connect", [](TestMes& link) { link.Break("gone"); }},
    {"ready", [](TestMes& link) { link.Deliver(SgnResult() + Message(130, "late")); }},
    {"ack", [](TestMes& link) { link.Deliver(Message(129, "w1") + Message(130, "late")); }},
    {"report", [](TestMes& link) { link.Deliver(Message(130, "r") + Message(130, "late")); }},
    {"result", [](TestMes& link) { link.Deliver(kTableResult + Message(130, "late")); }},
    {"chgpass", [](TestMes& link) { link.Deliver(kChange + kTableResult); }},
};

TEST_F(LoopCalls, TheClientMayBeDeletedInsideEveryEvent) {
  for (int i = 0; i < 4; ++i) {
    const bool onLoop = i % 2 != 0;
    const bool byOwnHandle = i / 2 != 0;
    for (const Trigger& trigger : kTriggers) {
      SCOPED_TRACE(std::string(trigger.event) + (onLoop ? " on a loop" : ""));
      onLoop ? CreateOnLoop() : Create();
      Link();
      DispatchAll();
      Take();
      onEvent = [&](CVekClient* handle, const std::string& line) {
        if (line != "destroy") CVekClient_Delete(byOwnHandle ? handle : &client);
        if (byOwnHandle) {
          EXPECT_EQ(handle->object == nullptr, line != "destroy");
        }
      };
      const auto link = mes;
      ServeWhile([&] { trigger.raise(*link); });
      DispatchAll();
      const Lines seen = Take();
      ASSERT_EQ(seen.size(), 2u);
      EXPECT_EQ(seen[0].rfind(trigger.event, 0), 0u);
      EXPECT_EQ(seen[1], "destroy");
      EXPECT_FALSE(TestMes::Last()) << "the link was closed";
      onEvent = nullptr;
      client = {};
    }
  }
}

// The disconnection happens while the result is being sent, if at all, so its event follows the result.
TEST_F(LoopCalls, EventsOfTheCallbacksOwnMakingComeBehindTheResult) {
  for (int round = 0; round < 20; ++round) {
    SignOnOnLoop();
    ActInside("report a", "disconnect");
    Queue(Message(130, "a") + Message(130, "b"));
    WithOnItsWay(kTableResult, [] { DispatchAll(); });
    Lines seen = Take();
    if (seen.size() == 4) {
      EXPECT_EQ(seen[2], "result w");
      seen.erase(seen.begin() + 2);
    }
    ASSERT_EQ(seen, (Lines{"report a", "report b", "connect -1 Disconnect()"}));
    CVekClient_Delete(&client);
    Take();
  }
}

// Like a message box: a loop inside a callback, in which results and reports keep arriving, nested, until the
// last one ends all loops or deletes the client.
TEST_F(LoopCalls, LoopsInsideCallbacks) {
  for (const bool deletes : {false, true}) {
    SignOnOnLoop();
    constexpr int kBoxes = 3;
    std::atomic<int> open{0};
    bool close = false;
    onEvent = [&](CVekClient*, const std::string& line) {
      if (line == "report end") close = true;
      if (line == "report end" && deletes) CVekClient_Delete(&client);
      if (line != "report open") return;
      ++open;
      while (!close) CVekMessageLoop_Dispatch(5);
      --open;
    };
    const auto link = mes;
    Lines expected;
    ServeWhile([&] {
      for (int box = 1; box <= kBoxes; ++box) {
        link->Deliver(Message(130, "open"));
        while (open != box) std::this_thread::yield();
        link->Deliver(kTableResult + kTableResult);
        expected.insert(expected.end(), {"report open", "result w", "result w"});
      }
      link->Deliver(Message(130, "end"));
    });
    DispatchAll();
    expected.push_back("report end");
    if (deletes) expected.push_back("destroy");
    EXPECT_EQ(Take(), expected);
    EXPECT_EQ(open, 0);
    onEvent = nullptr;
    CVekClient_Delete(&client);
    Take();
  }
}

// Two clients on one thread: one's answer continues inside a wait for the other.
TEST_F(LoopCalls, ClientsMayBeDeletedInsideOneAnothersResults) {
  SignOnOnLoop();
  CVekClient first = client;
  const auto firstLink = mes;
  SignOnOnLoop();
  const auto secondLink = mes;
  onEvent = [&](CVekClient* handle, const std::string& line) {
    if (line != "result w") return;
    CVekClient* const other = handle->object == first.object ? &client : &first;
    CVekClient_Delete(other);
  };
  std::atomic<int> done{0};
  std::thread one([&] {
    firstLink->Deliver(kTableResult + kTableResult);
    ++done;
  });
  std::thread two([&] {
    secondLink->Deliver(kTableResult + kTableResult);
    ++done;
  });
  while (done < 2) CVekMessageLoop_Dispatch(5);
  one.join();
  two.join();
  DispatchAll();
  const Lines seen = Take();
  EXPECT_LE(std::count(seen.begin(), seen.end(), "result w"), 3);
  EXPECT_GE(std::count(seen.begin(), seen.end(), "destroy"), 1);
  onEvent = nullptr;
  CVekClient_Delete(&first);
}

}  // namespace
}  // namespace vektest
