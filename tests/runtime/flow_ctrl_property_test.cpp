// The guarantees of the limiter, checked by a server that only counts arrivals.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <queue>
#include <random>
#include <vector>

#include "flowctrl/TFlowCtrl.h"
#include "support/TVirtualTimerQueue.h"

namespace {

struct TLimiter : Dova::TFlowCtrl {
  TLimiter() : TFlowCtrl(true) {}
};

// The largest number of times within any half-open window of that length; `moments` is sorted.
std::size_t MostWithin(const std::vector<std::int64_t>& moments, std::int64_t window) {
  std::size_t most = 0;
  std::size_t first = 0;
  for (std::size_t last = 0; last < moments.size(); ++last) {
    while (moments[last] - moments[first] >= window) ++first;
    most = std::max(most, last - first + 1);
  }
  return most;
}

// One direction of a link: each message has its own delay, none overtakes an earlier one.
class TOrderedLink {
 public:
  std::int64_t Deliver(std::int64_t sent, std::int64_t delay) {
    last_ = std::max(last_, sent + delay);
    return last_;
  }

 private:
  std::int64_t last_ = 0;
};

struct TScene {
  int count;
  int ms;
  std::int64_t maxDelayUs;
  double lost;  // fraction of acknowledgements that are lost
};

class FlowCtrlProperty : public testing::TestWithParam<unsigned> {
 protected:
  TScene Invent() {
    TScene scene{};
    scene.count = 1 + static_cast<int>(random_() % 9);
    scene.ms = 1 + static_cast<int>(random_() % 200);
    scene.maxDelayUs = 1 + static_cast<std::int64_t>(random_() % 400'000);
    scene.lost = random_() % 3 == 0 ? 0.02 : 0.0;
    return scene;
  }
  std::int64_t Delay(const TScene& scene) {
    // Mostly short, occasionally the maximum: causes bursts at the far side.
    const std::int64_t most = random_() % 10 == 0 ? scene.maxDelayUs : 1 + scene.maxDelayUs / 50;
    return 1000 * (1 + static_cast<std::int64_t>(random_() % static_cast<std::uint64_t>(most)));
  }

  TestSupport::TVirtualTimerQueue queue_;
  std::mt19937 random_{GetParam()};
};

TEST_P(FlowCtrlProperty, NoServerCountsMoreThanTheRate) {
  const TScene scene = Invent();
  TLimiter limiter;
  limiter.SetFlowCtrl(scene.count, scene.ms);
  TOrderedLink there;
  TOrderedLink back;
  std::queue<std::int64_t> acknowledgements;
  std::vector<std::int64_t> arrivals;
  std::uniform_real_distribution<> share;
  for (int step = 0; step < 3000; ++step) {
    queue_.AdvanceTo(queue_.NowNs() + static_cast<std::int64_t>(random_() % 3'000'000));
    for (; !acknowledgements.empty() && acknowledgements.front() <= queue_.NowNs(); acknowledgements.pop()) {
      limiter.SetAckTime(1);
    }
    while (limiter.CheckFlowCtrlWaitAck() == 0) {
      arrivals.push_back(there.Deliver(queue_.NowNs(), Delay(scene)));
      if (share(random_) < scene.lost) continue;
      acknowledgements.push(back.Deliver(arrivals.back(), Delay(scene)));
    }
  }
  EXPECT_LE(MostWithin(arrivals, scene.ms * std::int64_t{1'000'000}), static_cast<std::size_t>(scene.count));
  EXPECT_GE(arrivals.size(), static_cast<std::size_t>(scene.count));
}

TEST_P(FlowCtrlProperty, WhateverAcknowledgementsClaimNoMoreLeave) {
  const TScene scene = Invent();
  TLimiter limiter;
  limiter.SetFlowCtrl(scene.count, scene.ms);
  std::vector<std::int64_t> departures;
  for (int step = 0; step < 3000; ++step) {
    queue_.AdvanceTo(queue_.NowNs() + static_cast<std::int64_t>(random_() % 3'000'000));
    switch (random_() % 4) {
      case 0:
        limiter.SetAckTime(static_cast<unsigned>(random_()));
        break;
      case 1:
        while (limiter.CheckFlowCtrl(false) == 0) departures.push_back(queue_.NowNs());
        break;
      default:
        if (limiter.CheckFlowCtrlWaitAck() == 0) departures.push_back(queue_.NowNs());
    }
  }
  EXPECT_LE(MostWithin(departures, scene.ms * std::int64_t{1'000'000}),
            static_cast<std::size_t>(scene.count));
}

// A request is refused only if necessary: each of the last `count` requests is either not known to have
// arrived, or was acknowledged less than `ms` ago. The reported wait is neither too short nor too long.
TEST_P(FlowCtrlProperty, ThePipeIsKeptFull) {
  const TScene scene = Invent();
  const std::int64_t period = scene.ms * std::int64_t{1'000'000};
  TLimiter limiter;
  limiter.SetFlowCtrl(scene.count, scene.ms);
  std::vector<std::int64_t> known;  // when each acknowledged request was known to have arrived
  std::size_t sent = 0;
  for (int step = 0; step < 3000; ++step) {
    queue_.AdvanceTo(queue_.NowNs() + static_cast<std::int64_t>(random_() % 5'000'000));
    const std::int64_t now = queue_.NowNs();
    if (random_() % 3 == 0) {
      const auto n = static_cast<unsigned>(random_() % 4);
      const auto expected = std::min<std::size_t>(n, sent - known.size());
      EXPECT_EQ(limiter.SetAckTime(n), expected);
      known.insert(known.end(), expected, now);
    }
    const auto hot = static_cast<std::size_t>(
        std::count_if(known.begin(), known.end(), [&](std::int64_t at) { return at > now - period; }));
    const std::size_t used = sent - known.size() + hot;
    const int answer = limiter.CheckFlowCtrlWaitAck();
    if (used < static_cast<std::size_t>(scene.count)) {
      EXPECT_EQ(answer, 0);
      ++sent;
    } else if (hot == 0) {
      EXPECT_LT(answer, 0);
    } else {
      const std::int64_t left = known[known.size() - hot] + period - now;
      EXPECT_GE(answer * std::int64_t{1'000'000}, left);
      EXPECT_LT((answer - 1) * std::int64_t{1'000'000}, left);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, FlowCtrlProperty, testing::Range(1U, 61U));

}  // namespace
