#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "support/Forked.h"
#include "support/TVirtualTimerQueue.h"
#include "vekapi/VekClient.h"
#include "vekapi/VekFlowCtrlSender.h"

namespace vektest {
namespace {

struct TGate : VekApi::VekFlowCtrl {
  ~TGate() override { CloseGate(); }
  void OnVekFlowCtrlFree() override {
    ++events;
    if (onFree) onFree();
  }
  std::atomic<int> events{0};
  std::function<void()> onFree;
};

struct GateTest : testing::Test {
  TestSupport::TVirtualTimerQueue queue;
  TGate gate;

  // Sends as many as the gate allows.
  int Fill() {
    int sent = 0;
    while (sent < 1000 && gate.CheckFlowCtrl() == 0) ++sent;
    return sent;
  }
};

TEST_F(GateTest, ConfiguredOnlyByTwoPositiveNumbers) {
  for (const auto& [count, ms] : {std::pair{5, 0}, {0, 1000}, {-1, -1}}) {
    gate.SetFlowCtrl(5, 1000);
    EXPECT_TRUE(gate.IsFlowCfg());
    gate.SetFlowCtrl(count, ms);
    EXPECT_FALSE(gate.IsFlowCfg());
    EXPECT_EQ(Fill(), 1000);
  }
  gate.SetFlowCtrl(5, 1000);
  EXPECT_EQ(Fill(), 5);
  gate.SetFlowCtrl(3, 1000);
  EXPECT_EQ(Fill(), 3) << "a new configuration forgets what was sent";
  gate.Clear();
  EXPECT_FALSE(gate.IsFlowCfg());
}

TEST_F(GateTest, CountsAcknowledgedLines) {
  struct TCase {
    int code;
    std::string text;
    int acknowledged;
  };
  const TCase cases[] = {{128, "a\nb", 0},   {131, "a", 0},    {129, "", 1},       {129, "a\nb", 2},
                         {129, "a\nb\n", 3}, {129, "\n\n", 1}, {129, "a\n\nb", 2}, {129, {"a\0\nb", 4}, 1},
                         {129, "\na", 1},    {129, "a\n", 2}};
  for (const TCase& each : cases) {
    gate.SetFlowCtrl(10, 100);
    EXPECT_EQ(Fill(), 10);
    gate.VekAckParser(each.code, each.text);
    queue.Advance(100);
    EXPECT_EQ(Fill(), each.acknowledged) << each.code << " '" << each.text << "'";
  }
}

TEST_F(GateTest, UnconfiguredGateRaisesNothing) {
  gate.StartCheckTimer();
  gate.SetAckTime(1);
  queue.Advance(1000);
  EXPECT_EQ(gate.events, 0);
}

TEST_F(GateTest, FreeEventComesWhenTheAcknowledgedSlotHasCooled) {
  gate.SetFlowCtrl(2, 100);
  EXPECT_EQ(Fill(), 2);
  gate.StartCheckTimer();
  queue.Advance(1000);
  EXPECT_EQ(gate.events, 0) << "nothing was acknowledged";
  gate.SetAckTime(1);
  queue.Advance(99);
  EXPECT_EQ(gate.events, 0);
  queue.Advance(1);
  EXPECT_EQ(gate.events, 1);
  queue.Advance(1000);
  EXPECT_EQ(gate.events, 1);
  gate.StartCheckTimer();
  EXPECT_EQ(gate.events, 2) << "a gate that is free says so at once";
}

// A wait ends by the current rate, not by the one set when it began.
TEST_F(GateTest, AFasterRateOrNoneIsNoticed) {
  for (const auto& [count, ms] : {std::pair{2, 1000}, {1, 10}, {0, 0}}) {
    gate.events = 0;
    gate.SetFlowCtrl(1, 1'000'000);
    EXPECT_EQ(Fill(), 1);
    gate.SetAckTime(1);
    gate.StartCheckTimer();
    gate.SetFlowCtrl(count, ms);
    EXPECT_EQ(gate.events, 0) << "not from inside";
    queue.Advance(1);
    EXPECT_EQ(gate.events, 1);
    queue.Advance(2'000'000);
    EXPECT_EQ(gate.events, 1) << "once";
  }
}

// Passed to a plain sleep, the result "not before an acknowledgement" would be 49 days.
TEST_F(GateTest, EveryAnswerMayBeSleptUpon) {
  gate.SetFlowCtrl(1, 1000);
  EXPECT_EQ(Fill(), 1);
  const unsigned answer = gate.CheckFlowCtrl();
  EXPECT_GT(answer, 0x7FFFFFFFU);
  VekApi::VekFlowCtrl::Sleep(answer);
}

TEST_F(GateTest, AnExpiryThatCameTooLateRaisesNothing) {
  gate.SetFlowCtrl(1, 10);
  EXPECT_EQ(Fill(), 1);
  gate.SetAckTime(1);
  const std::int64_t due = queue.NowNs() + 10'000'000;
  std::thread late;
  {
    const VekApi::VekFlowCtrlLocker lock(gate);
    late = std::thread([&] { queue.Advance(10); });
    while (queue.NowNs() < due) std::this_thread::yield();
    // The expiry has begun and waits for the lock.
    gate.StartCheckTimer();
    EXPECT_EQ(gate.events, 1);
  }
  late.join();
  EXPECT_EQ(gate.events, 1) << "the one opening was reported twice";
}

TEST_F(GateTest, EventMayDeleteItsGateWhileAnExpiryWaits) {
  auto* doomed = new TGate;
  doomed->SetFlowCtrl(1, 10);
  std::thread timer;
  doomed->onFree = [&] {
    EXPECT_EQ(doomed->CheckFlowCtrl(), 0U);
    doomed->StartCheckTimer();
    const std::int64_t due = queue.NowNs() + 1'000'000;
    timer = std::thread([this] { queue.Advance(1); });
    while (queue.NowNs() < due) std::this_thread::yield();
    delete doomed;
  };
  doomed->StartCheckTimer();
  timer.join();
  queue.Advance(1000);
}

// If only an acknowledgement can open the gate: one check per millisecond, none once nothing waits.
TEST_F(GateTest, LooksAgainEveryMillisecondAndNotMoreOften) {
  gate.SetFlowCtrl(1, 1000);
  EXPECT_EQ(Fill(), 1);
  gate.StartCheckTimer();
  const std::size_t before = queue.Expiries();
  queue.Advance(200);
  EXPECT_EQ(queue.Expiries() - before, 200U);
  gate.Clear();
  queue.Advance(200);
  EXPECT_EQ(queue.Expiries() - before, 201U);
  EXPECT_EQ(gate.events, 1) << "everything may go now: who waited is told";
}

// Threads that send, and one that sets the rate, acknowledges, and takes back what is held, beside the
// timer's. If the old rate were removed before the new one is set, requests in between would find none. There
// is no link: whatever is let through is refused.
TEST(Sender, EverybodyAtOnce) {
  VekApi::VekClientHandlerBase events;
  VekApi::VekClient client(events);
  VekApi::VekFlowCtrlSender sender(client);
  sender.SetFlowCtrl(1, 1'000'000);
  std::atomic<bool> stop{false};
  std::atomic<std::size_t> begun{0}, taken{0};
  const auto send = [&](std::size_t count, auto&& call) {
    return std::thread([&, count, call] {
      for (std::string text; !stop; begun += count) call(text = ".....a\n1\nb\n2");
    });
  };
  std::thread single = send(1, [&](std::string& text) { sender.SendVekRequest(text.data(), 8); });
  std::thread several = send(2, [&](std::string& text) {
    const VekApi::VekFlowCtrlLocker lock(sender);
    sender.SendVekRequests({"a\n1", text});
    sender.StartCheckTimer();
  });
  std::thread lines = send(2, [&](std::string& text) { sender.SendVekRequests(text.data(), 12); });
  unsigned settings = 1;
  for (; settings < 50'000 || begun < 50'000; ++settings) {
    sender.SetFlowCtrl(1, 1'000'000);
    sender.SetAckTime(1);
    if (sender.PendingCount() > 100) taken += sender.TakePending().size();
  }
  stop = true;
  for (std::thread* const each : {&single, &several, &lines}) each->join();
  const std::size_t refused = sender.RefusedCount();
  EXPECT_LE(refused, settings);
  EXPECT_EQ(begun, refused + taken + sender.TakePending().size()) << "none is lost or doubled";
}

// A thread of the parent holds all locks of both. The child would wait for it, or send what the parent holds.
TEST(Sender, AForkedChildNeitherWaitsNorSends) {
  VekApi::VekClientHandlerBase events;
  VekApi::VekClient client(events);
  auto sender = std::make_unique<VekApi::VekFlowCtrlSender>(client);
  auto gate = std::make_unique<TGate>();
  sender->SetFlowCtrl(1, 1'000'000);
  gate->SetFlowCtrl(1, 1'000'000);
  EXPECT_EQ(sender->SendVekRequests({"a\n1", "b\n2"}), 1U);
  std::promise<void> held, done;
  gate->onFree = [&] {
    held.set_value();
    done.get_future().wait();
  };
  std::thread holder([&] {
    const VekApi::VekFlowCtrlLocker lock(*sender);
    gate->StartCheckTimer();
  });
  held.get_future().wait();
  const auto use = [&] {
    char text[] = ".....c\n3";
    if (sender->PendingCount() != 0 || !sender->TakePending().empty()) return 1;
    if (sender->SendVekRequest(text, 8) || sender->SendVekRequests({"d\n4"}) != 0) return 2;
    gate->SetAckTime(1);
    gate->SetFlowCtrl(5, 1);
    if (gate->CheckFlowCtrl() == 0) return 3;
    sender.reset();
    gate.reset();
    return TGate().CheckFlowCtrl() == 0 ? 0 : 4;
  };
  EXPECT_EQ(TestSupport::ExitCodeOfChild(use).value_or(0), 0);
  done.set_value();
  holder.join();
  EXPECT_EQ(sender->PendingCount(), 1U);
}

TEST(Sender, AForkedChildDestroysASenderThatWasInUse) {
  if (!TestSupport::kForksAtAnyMoment) GTEST_SKIP() << "not the sanitizers' own allocator and registry";
  VekApi::VekClientHandlerBase events;
  VekApi::VekClient client(events);
  auto sender = std::make_unique<VekApi::VekFlowCtrlSender>(client);
  std::atomic<bool> stop{false};
  std::thread busy([&] {
    const std::deque<std::string> requests(1000, std::string(100, 'a'));
    while (!stop) {
      sender->SetFlowCtrl(1, 1'000'000);
      sender->SendVekRequests(requests);
      sender->SetFlowCtrl(1000, 1);
      sender->StartCheckTimer();
    }
  });
  const auto destroy = [&] {
    sender.reset();
    return 0;
  };
  for (int round = 0; round < 100; ++round)
    EXPECT_EQ(TestSupport::ExitCodeOfChild(destroy).value_or(0), 0) << round;
  stop = true;
  busy.join();
}

}  // namespace
}  // namespace vektest
