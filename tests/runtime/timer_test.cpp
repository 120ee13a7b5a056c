// Timers in virtual time: which ones expire, when, and in which order.
#include "platform/runtime/TTimer.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "support/TVirtualTimerQueue.h"

namespace {

using Dova::ots_OneShot;
using Dova::TTimer;

struct TClient {
  explicit TClient(std::function<void()> onExpiry) : onExpiry_(std::move(onExpiry)) {}
  void Start(unsigned ms) { timer.Start(&TClient::OnTimer, ms); }
  void OnTimer() { onExpiry_(); }

  TTimer<TClient> timer{ots_OneShot, *this};

 private:
  std::function<void()> onExpiry_;
};

struct TimerTest : testing::Test {
  TestSupport::TVirtualTimerQueue queue;
  std::int64_t begin = queue.NowNs();
  std::string log;

  std::int64_t NowMs() const { return (queue.NowNs() - begin) / 1'000'000; }
  std::function<void()> Log(const std::string& name) {
    return [this, name] { log += name + std::to_string(NowMs()) + " "; };
  }
};

TEST_F(TimerTest, RunInTheOrderInWhichTheyFallDue) {
  TClient a(Log("a"));
  TClient b(Log("b"));
  TClient c(Log("c"));
  TClient d(Log("d"));
  a.Start(30);
  b.Start(10);
  c.Start(20);
  d.Start(20);
  queue.Advance(9);
  EXPECT_EQ(log, "");
  queue.Advance(1);
  EXPECT_EQ(log, "b10 ");
  queue.Advance(100);
  EXPECT_EQ(log, "b10 c20 d20 a30 ");
  EXPECT_EQ(NowMs(), 110);
}

TEST_F(TimerTest, LastStartCounts) {
  TClient later(Log("later"));
  TClient earlier(Log("earlier"));
  TClient both(Log("both"));
  TClient stopped(Log("stopped"));
  TClient restarted(Log("restarted"));
  for (TClient* each : {&later, &earlier, &both, &stopped, &restarted}) each->Start(20);
  queue.Advance(10);
  later.Start(30);
  earlier.Start(5);
  both.Start(50);
  both.Start(1);
  stopped.timer.Stop();
  restarted.timer.Stop();
  restarted.Start(15);
  queue.Advance(1000);
  EXPECT_EQ(log, "both11 earlier15 restarted25 later40 ");
}

TEST_F(TimerTest, ExpiryMayArmItselfAndOthers) {
  int left = 3;
  TClient other(Log("other"));
  std::unique_ptr<TClient> self;
  self = std::make_unique<TClient>([&] {
    Log("self")();
    if (--left > 0) self->Start(10);
    other.Start(left == 0 ? 0 : 15);
  });
  self->Start(10);
  queue.Advance(1000);
  EXPECT_EQ(log, "self10 self20 self30 other30 ");
}

TEST_F(TimerTest, DestroyedInsideItsOwnExpiry) {
  std::unique_ptr<TClient> self;
  TClient other(Log("other"));
  self = std::make_unique<TClient>([&] {
    self->Start(1);
    self.reset();
  });
  self->Start(1);
  other.Start(2);
  queue.Advance(10);
  EXPECT_EQ(self, nullptr);
  EXPECT_EQ(log, "other2 ");
}

TEST_F(TimerTest, DestroyedInsideAnothersExpiryItNeverRuns) {
  auto victim = std::make_unique<TClient>(Log("victim"));
  TClient killer([&] { victim.reset(); });
  killer.Start(5);
  victim->Start(5);
  queue.Advance(10);
  EXPECT_EQ(log, "");
}

TEST_F(TimerTest, LongestTimeDoesNotOverflow) {
  TClient client(Log("late"));
  queue.AdvanceTo(INT64_MAX / 2);
  client.Start(UINT32_MAX);
  queue.Advance(UINT32_MAX - 1);
  EXPECT_EQ(log, "");
  queue.Advance(1);
  EXPECT_NE(log, "");
}

// Random starts and stops compared with a list of due times: no expiry lost, early, late, or out of order.
TEST_F(TimerTest, AgreesWithAPlainList) {
  std::mt19937 random(7);
  constexpr int kTimers = 40;
  std::vector<std::int64_t> wanted(kTimers, -1);
  std::vector<std::unique_ptr<TClient>> clients;
  int ran = 0;
  for (int i = 0; i < kTimers; ++i) {
    clients.push_back(std::make_unique<TClient>([&, i] {
      EXPECT_EQ(wanted[static_cast<std::size_t>(i)], NowMs()) << i;
      wanted[static_cast<std::size_t>(i)] = -1;
      ++ran;
    }));
  }
  for (int step = 0; step < 20'000; ++step) {
    const std::size_t which = random() % kTimers;
    const unsigned ms = random() % 50;
    switch (random() % 8) {
      case 0:
        clients[which]->timer.Stop();
        wanted[which] = -1;
        break;
      case 1:
      case 2:
        queue.Advance(ms % 5);
        for (const auto due : wanted) EXPECT_TRUE(due < 0 || due > NowMs());
        break;
      default:
        if (ms == 0) break;
        clients[which]->Start(ms);
        wanted[which] = NowMs() + ms;
    }
  }
  EXPECT_GT(ran, 1000);
}

}  // namespace
