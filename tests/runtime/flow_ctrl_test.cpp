#include "flowctrl/TFlowCtrl.h"

#include <gtest/gtest.h>

#include <climits>
#include <thread>
#include <vector>

#include "support/TVirtualTimerQueue.h"

namespace {

struct TLimiter : Dova::TFlowCtrl {
  TLimiter() : TFlowCtrl(true) {}
  int Look() {
    const Locker lock(*this);
    return CheckFlowCtrl_AfLock(Dova::fcf_OnlyLook);
  }
};

struct FlowCtrlTest : testing::Test {
  TestSupport::TVirtualTimerQueue queue;
  TLimiter limiter;
};

TEST_F(FlowCtrlTest, ExampleOfTheHeader) {
  limiter.SetFlowCtrl(2, 1000);
  EXPECT_EQ(limiter.CheckFlowCtrlWaitAck(), 0);
  EXPECT_EQ(limiter.CheckFlowCtrlWaitAck(), 0);
  queue.Advance(10);
  EXPECT_LT(limiter.CheckFlowCtrlWaitAck(), 0);
  EXPECT_EQ(limiter.CheckFlowCtrl(true), 1U);
  queue.Advance(290);
  EXPECT_EQ(limiter.SetAckTime(1), 1U);
  queue.Advance(100);
  EXPECT_EQ(limiter.CheckFlowCtrlWaitAck(), 900);
  queue.Advance(900);
  EXPECT_EQ(limiter.CheckFlowCtrlWaitAck(), 0);
  EXPECT_LT(limiter.CheckFlowCtrlWaitAck(), 0);
}

TEST_F(FlowCtrlTest, WithoutAcknowledgementsTimeCountsFromTheSending) {
  limiter.SetFlowCtrl(2, 1000);
  EXPECT_EQ(limiter.CheckFlowCtrl(false), 0U);
  queue.Advance(400);
  EXPECT_EQ(limiter.CheckFlowCtrl(false), 0U);
  EXPECT_EQ(limiter.CheckFlowCtrl(false), 600U);
  EXPECT_EQ(limiter.SetAckTime(5), 0U) << "nothing was out";
  queue.Advance(600);
  EXPECT_EQ(limiter.CheckFlowCtrl(false), 0U);
  EXPECT_EQ(limiter.CheckFlowCtrl(false), 400U);
}

TEST_F(FlowCtrlTest, AnswerIsRoundedUpSoThatTheNextCheckSucceeds) {
  limiter.SetFlowCtrl(1, 10);
  EXPECT_EQ(limiter.CheckFlowCtrl(false), 0U);
  queue.AdvanceTo(queue.NowNs() + 1);
  EXPECT_EQ(limiter.CheckFlowCtrl(false), 10U);
  queue.Advance(9);
  EXPECT_EQ(limiter.CheckFlowCtrl(false), 1U);
  queue.Advance(1);
  EXPECT_EQ(limiter.CheckFlowCtrl(false), 0U);
}

TEST_F(FlowCtrlTest, LookingCountsNothing) {
  limiter.SetFlowCtrl(1, 1000);
  EXPECT_EQ(limiter.Look(), 0);
  EXPECT_EQ(limiter.Look(), 0);
  EXPECT_EQ(limiter.CheckFlowCtrlWaitAck(), 0);
  EXPECT_LT(limiter.Look(), 0);
}

TEST_F(FlowCtrlTest, WithoutAConfigurationEverythingGoesAndNothingIsCounted) {
  for (const auto& [count, ms] : {std::pair{0, 1000}, {5, 0}, {-1, 1000}, {5, INT_MIN}}) {
    limiter.SetFlowCtrl(1, 1000);
    EXPECT_EQ(limiter.CheckFlowCtrlWaitAck(), 0);
    limiter.SetFlowCtrl(count, ms);
    EXPECT_FALSE(limiter.IsActive());
    for (int i = 0; i < 3; ++i) EXPECT_EQ(limiter.CheckFlowCtrlWaitAck(), 0);
    EXPECT_EQ(limiter.SetAckTime(1), 0U);
    limiter.SetFlowCtrl(1, 1000);
    EXPECT_EQ(limiter.CheckFlowCtrlWaitAck(), 0) << "history was not forgotten";
    limiter.Clear();
  }
}

TEST_F(FlowCtrlTest, ALowerCountWaitsForTheRightSlot) {
  limiter.SetFlowCtrl(3, 1000);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(limiter.CheckFlowCtrl(false), 0U);
    queue.Advance(100);
  }
  limiter.SetFlowCtrl(1, 1000);
  EXPECT_EQ(limiter.CheckFlowCtrl(false), 900U);
  queue.Advance(900);
  EXPECT_EQ(limiter.CheckFlowCtrl(false), 0U);
}

TEST_F(FlowCtrlTest, ExtremeNumbers) {
  limiter.SetFlowCtrl(INT_MAX, INT_MAX);
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(limiter.CheckFlowCtrlWaitAck(), 0);
  EXPECT_EQ(limiter.SetAckTime(UINT_MAX), 1000U);
  limiter.SetFlowCtrl(1, INT_MAX);
  EXPECT_EQ(limiter.CheckFlowCtrlWaitAck(), INT_MAX);
  queue.Advance(INT_MAX);
  EXPECT_EQ(limiter.CheckFlowCtrlWaitAck(), 0);
}

// Checked by the sanitizers, and by the count staying within its bounds.
TEST_F(FlowCtrlTest, ChecksAcknowledgementsAndSettingsRace) {
  std::vector<std::thread> threads;
  for (int kind = 0; kind < 4; ++kind) {
    threads.emplace_back([this, kind] {
      for (int i = 0; i < 5000; ++i) {
        if (kind < 2) static_cast<void>(limiter.CheckFlowCtrlWaitAck());
        if (kind == 2) limiter.SetAckTime(3);
        if (kind == 3 && i % 50 == 0) limiter.Clear();
        if (kind == 3) limiter.SetFlowCtrl(1 + i % 7, 1 + i % 3);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  limiter.Clear();
  limiter.SetFlowCtrl(2, 1000);
  EXPECT_EQ(limiter.CheckFlowCtrlWaitAck(), 0);
  EXPECT_EQ(limiter.CheckFlowCtrlWaitAck(), 0);
  EXPECT_NE(limiter.CheckFlowCtrlWaitAck(), 0);
}

}  // namespace
