#include "flowctrl/TFlowCtrl.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <random>
#include <vector>

#include "support/TVirtualTimerQueue.h"

namespace {

struct LimiterTest : testing::Test {
  TestSupport::TVirtualTimerQueue queue;
  Dova::TFlowCtrl limiter{true};
};

TEST_F(LimiterTest, WithoutAcknowledgementsTimeCountsFromTheSending) {
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

TEST_F(LimiterTest, ExtremeNumbers) {
  limiter.SetFlowCtrl(INT_MAX, INT_MAX);
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(limiter.CheckFlowCtrlWaitAck(), 0);
  EXPECT_EQ(limiter.SetAckTime(UINT_MAX), 1000U);
  limiter.SetFlowCtrl(1, INT_MAX);
  EXPECT_EQ(limiter.CheckFlowCtrlWaitAck(), INT_MAX);
  queue.Advance(INT_MAX);
  EXPECT_EQ(limiter.CheckFlowCtrlWaitAck(), 0);
  limiter.Clear();
  EXPECT_FALSE(limiter.IsActive());
  EXPECT_EQ(limiter.CheckFlowCtrlWaitAck(), 0);
}

class LimiterProperty : public LimiterTest, public testing::WithParamInterface<unsigned> {};

// A request is refused only if necessary: each of the last `count` requests is either not known to have
// arrived, or was acknowledged less than `ms` ago. The reported wait is neither too short nor too long, also
// if fewer or more are allowed meanwhile.
TEST_P(LimiterProperty, AllowsWhatItMayAndNoMore) {
  std::mt19937 random(GetParam());
  auto count = 1 + random() % 9;
  const int ms = 1 + static_cast<int>(random() % 200);
  const std::int64_t period = ms * std::int64_t{1'000'000};
  limiter.SetFlowCtrl(static_cast<int>(count), ms);
  std::vector<std::int64_t> known;  // when each acknowledged request was known to have arrived
  std::size_t sent = 0;
  for (int step = 0; step < 3000; ++step) {
    queue.AdvanceTo(queue.NowNs() + static_cast<std::int64_t>(random() % 5'000'000));
    const std::int64_t now = queue.NowNs();
    if (random() % 3 == 0) {
      const auto n = static_cast<unsigned>(random() % 4);
      const auto expected = std::min<std::size_t>(n, sent - known.size());
      EXPECT_EQ(limiter.SetAckTime(n), expected);
      known.insert(known.end(), expected, now);
    }
    const auto hot = static_cast<std::size_t>(
        std::count_if(known.begin(), known.end(), [&](std::int64_t at) { return at > now - period; }));
    const std::size_t used = sent - known.size() + hot;
    if (random() % 50 == 0) limiter.SetFlowCtrl(static_cast<int>(count = 1 + random() % 9), ms);
    const int answer = limiter.CheckFlowCtrlWaitAck();
    if (used < count) {
      EXPECT_EQ(answer, 0);
      ++sent;
    } else if (hot <= used - count) {
      EXPECT_LT(answer, 0);
    } else {
      const std::int64_t left = known[known.size() - hot + used - count] + period - now;
      EXPECT_GE(answer * std::int64_t{1'000'000}, left);
      EXPECT_LT((answer - 1) * std::int64_t{1'000'000}, left);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, LimiterProperty, testing::Range(1U, 61U));

}  // namespace
