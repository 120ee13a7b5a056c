// Timers on the production queue: threads, waiting destructors, and races.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "platform/os/Event.h"
#include "platform/runtime/TThreadTimerQueue.h"
#include "platform/runtime/TTimer.h"

namespace {

using Dova::ots_OneShot;
using Dova::TThreadTimerQueue;
using Dova::TTimer;
using Dova::Os::TEvent;

constexpr std::int64_t kMs = 1'000'000;

struct TClient {
  explicit TClient(std::function<void()> onExpiry) : onExpiry_(std::move(onExpiry)) {}
  void Start(unsigned ms) { timer.Start(&TClient::OnTimer, ms); }
  void OnTimer() { onExpiry_(); }

  // Declared before the timer, so that it outlives the last expiry.
 private:
  std::function<void()> onExpiry_;

 public:
  TTimer<TClient> timer{ots_OneShot, *this};
};

TThreadTimerQueue& Queue() {
  return TThreadTimerQueue::Instance();
}

TEST(TimerThread, StepsOfOneMillisecond) {
  constexpr int kSteps = 50;
  const auto wakesBefore = Queue().WakeCount();
  const auto began = Queue().NowNs();
  {
    TEvent done;
    int steps = 0;
    std::unique_ptr<TClient> self;
    self = std::make_unique<TClient>([&] {
      if (++steps == kSteps) return done.Set();
      self->Start(1);
    });
    self->Start(1);
    done.Wait();
  }
  EXPECT_GE(Queue().NowNs() - began, kSteps * kMs);
  EXPECT_LE(Queue().WakeCount() - wakesBefore, 4U * kSteps);
  EXPECT_EQ(Queue().ThreadCount(), 0U);
}

TEST(TimerThread, StartingLaterWakesNobody) {
  TClient client([] {});
  client.Start(3'600'000);
  TEvent settled;
  TClient soon([&] { settled.Set(); });
  soon.Start(1);
  settled.Wait();
  const auto wakesBefore = Queue().WakeCount();
  for (int i = 0; i < 10'000; ++i) client.Start(3'600'000);
  EXPECT_LE(Queue().WakeCount() - wakesBefore, 3U);  // the threads left idle by `soon` go to sleep
}

TEST(TimerThread, EarlierStartWakesTheSleeper) {
  TEvent ran;
  TClient client([&] { ran.Set(); });
  client.Start(3'600'000);
  client.Start(1);
  ran.Wait();
}

// Each expiry waits for the next one: the last one runs only if every one gets a thread.
TEST(TimerThread, SlowExpiryDelaysNobodyElse) {
  TEvent first;
  TEvent second;
  TEvent third;
  TClient slow([&] {
    second.Wait();
    first.Set();
  });
  TClient slowToo([&] {
    third.Wait();
    second.Set();
  });
  TClient quick([&] { third.Set(); });
  slow.Start(0);
  slowToo.Start(0);
  quick.Start(2);
  EXPECT_TRUE(first.Wait(60'000));
}

TEST(TimerThread, DestructorWaitsForARunningExpiry) {
  for (int round = 0; round < 50; ++round) {
    TEvent entered;
    TEvent go;
    std::atomic<bool> finished{false};
    TClient* client = nullptr;
    client = new TClient([&] {
      entered.Set();
      go.Wait();
      client->Start(60'000);  // must not revive it while it is being destroyed
      finished = true;
    });
    client->Start(0);
    entered.Wait();
    std::thread releaser([&] { go.Set(); });
    delete client;
    EXPECT_TRUE(finished);
    releaser.join();
  }
  EXPECT_EQ(Queue().ThreadCount(), 0U);
}

TEST(TimerThread, LastTimerDestroyedInsideItsOwnExpiry) {
  for (int round = 0; round < 200; ++round) {
    TEvent gone;
    TClient* self = nullptr;
    self = new TClient([&self, &gone] {
      TEvent& toSet = gone;
      delete self;
      toSet.Set();
    });
    self->Start(0);
    gone.Wait();
  }
  // Those threads end by themselves.
  while (Queue().ThreadCount() != 0) std::this_thread::yield();
}

TEST(TimerThread, ManyRoundsLeaveNoThread) {
  for (int round = 0; round < 1000; ++round) {
    TEvent ran;
    TClient client([&] { ran.Set(); });
    TClient idle([] {});
    idle.Start(60'000);
    client.Start(0);
    if (round % 4 == 0) ran.Wait();
    if (round % 4 == 1) client.timer.Stop();
  }
  EXPECT_EQ(Queue().ThreadCount(), 0U);
}

TEST(TimerThread, ThreadsAreBoundedByRunningExpiries) {
  constexpr unsigned kTimers = 30;
  std::atomic<int> left{2000};
  TEvent done;
  std::vector<std::unique_ptr<TClient>> clients(kTimers);
  for (auto& client : clients) {
    client = std::make_unique<TClient>([&client, &left, &done] {
      if (--left == 0) done.Set();
      if (left > 0) client->Start(0);
    });
  }
  for (auto& client : clients) client->Start(0);
  done.Wait();
  EXPECT_LE(Queue().ThreadCount(), kTimers + 1);
  clients.clear();
  EXPECT_EQ(Queue().ThreadCount(), 0U);
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
    return std::make_unique<TClient>([shared, &expiries] {
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
      auto client = make(shared);
      for (int step = 0; step < 8000; ++step) {
        switch (random() % 32) {
          case 0:
            // A timer restarted continuously is always postponed, so it is allowed to expire now and then.
            client->Start(random() % 2);
            EXPECT_TRUE(shared->ran.Wait(60'000));
            break;
          case 1:
            client.reset();
            shared->destroyed = true;
            shared = std::make_shared<TShared>();
            client = make(shared);
            break;
          case 2:
            client->timer.Stop();
            break;
          default:
            client->Start(random() % 2);
        }
      }
      client->Start(0);
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_GT(expiries, 0);
  EXPECT_EQ(Queue().ThreadCount(), 0U);
}

// One timer re-armed by several threads at once, earlier and later: the last call wins.
TEST(TimerThread, StartsThatRaceAreNotLost) {
  for (int round = 0; round < 300; ++round) {
    TEvent ran;
    TClient client([&] { ran.Set(); });
    std::vector<std::thread> threads;
    for (const unsigned ms : {0U, 1U, 2U}) threads.emplace_back([&client, ms] { client.Start(ms); });
    for (auto& thread : threads) thread.join();
    EXPECT_TRUE(ran.Wait(60'000));
  }
}

}  // namespace
