// Timers: in virtual time, checked against a plain list; on the production queue, where threads race.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "platform/runtime/TThreadTimerQueue.h"
#include "runtime/AlarmClock.h"
#include "support/TVirtualTimerQueue.h"

namespace vektest {
namespace {

using Dova::Os::TEvent;
using TestSupport::TAlarmClock;

TEST(Timer, LongestTimeDoesNotOverflow) {
  TestSupport::TVirtualTimerQueue queue;
  int ran = 0;
  TAlarmClock clock([&] { ++ran; });
  queue.AdvanceTo(INT64_MAX / 2);
  clock.Start(UINT32_MAX);
  queue.Advance(UINT32_MAX - 1);
  EXPECT_EQ(ran, 0);
  queue.Advance(1);
  EXPECT_EQ(ran, 1);
}

// Random starts and stops, some inside expiries: none lost, early, late, or out of order.
TEST(Timer, AgreesWithAPlainList) {
  TestSupport::TVirtualTimerQueue queue;
  std::mt19937 random(7);
  constexpr int kTimers = 40;
  std::vector<std::int64_t> wanted(kTimers, -1);
  std::vector<std::unique_ptr<TAlarmClock>> clocks;
  int ran = 0;
  const auto nowMs = [&] { return queue.NowNs() / 1'000'000; };
  const auto start = [&](std::size_t which, unsigned ms) {
    clocks[which]->Start(ms);
    wanted[which] = nowMs() + ms;
  };
  for (std::size_t i = 0; i < kTimers; ++i) {
    clocks.push_back(std::make_unique<TAlarmClock>([&, i] {
      EXPECT_EQ(wanted[i], nowMs()) << i;
      wanted[i] = -1;
      ++ran;
      if (random() % 2) start(random() % 2 ? i : random() % kTimers, 1 + random() % 50);
    }));
  }
  for (int step = 0; step < 20'000; ++step) {
    const std::size_t which = random() % kTimers;
    switch (random() % 8) {
      case 0:
        clocks[which]->Stop();
        wanted[which] = -1;
        break;
      case 1:
      case 2:
        queue.Advance(random() % 5);
        for (const auto due : wanted) EXPECT_TRUE(due < 0 || due > nowMs());
        break;
      default:
        start(which, 1 + random() % 50);
    }
  }
  EXPECT_GT(ran, 1000);
}

// Each expiry waits for the next one: the last one runs only if every one gets a thread.
TEST(TimerThread, SlowExpiryDelaysNobodyElse) {
  TAlarmClock quick;
  TAlarmClock slowToo([&] { EXPECT_TRUE(quick.Rings()); });
  TAlarmClock slow([&] { EXPECT_TRUE(slowToo.Rings()); });
  slow.Start(0);
  slowToo.Start(0);
  quick.Start(2);
  EXPECT_TRUE(slow.Rings());
}

// Three threads start, stop, destroy and create timers, and with the last timer the queue's threads; an
// expiry that runs twice at once or after destruction is detected.
TEST(TimerThread, StressOfStartStopDestroy) {
  struct TShared {
    std::atomic<int> inside{0};
    std::atomic<bool> destroyed{false};
    TEvent ran;
  };
  std::atomic<int> expiries{0};
  const auto make = [&expiries](const std::shared_ptr<TShared>& shared) {
    return std::make_unique<TAlarmClock>([shared, &expiries] {
      EXPECT_FALSE(shared->destroyed);
      EXPECT_EQ(shared->inside.fetch_add(1), 0);
      expiries.fetch_add(1);
      shared->inside.fetch_sub(1);
      shared->ran.Set();
    });
  };
  std::vector<std::thread> threads;
  for (unsigned seed = 0; seed < 3; ++seed) {
    threads.emplace_back([&, seed] {
      std::mt19937 random(seed);
      auto shared = std::make_shared<TShared>();
      auto clock = make(shared);
      for (int step = 0; step < 8000; ++step) {
        switch (random() % 32) {
          case 0:
            // A timer restarted continuously is always postponed, so it is allowed to expire now and then.
            clock->Start(random() % 2);
            EXPECT_TRUE(shared->ran.Wait(60'000));
            break;
          case 1:
            clock.reset();
            shared->destroyed = true;
            shared = std::make_shared<TShared>();
            clock = make(shared);
            break;
          case 2:
            clock->Stop();
            break;
          default:
            clock->Start(random() % 2);
        }
      }
      clock->Start(0);
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_GT(expiries, 0);
  EXPECT_EQ(Dova::TThreadTimerQueue::Instance().ThreadCount(), 0U);
}

// One timer re-armed by several threads at once, earlier and later: the last call wins.
TEST(TimerThread, StartsThatRaceAreNotLost) {
  for (int round = 0; round < 300; ++round) {
    TAlarmClock clock;
    std::vector<std::thread> threads;
    for (const unsigned ms : {0U, 1U, 2U}) threads.emplace_back([&clock, ms] { clock.Start(ms); });
    for (auto& thread : threads) thread.join();
    EXPECT_TRUE(clock.Rings());
  }
}

}  // namespace
}  // namespace vektest
