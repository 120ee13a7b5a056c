// The runtime in a forked child, and threads ended from outside.
#include <gtest/gtest.h>
#include <pthread.h>

#include <memory>
#include <thread>

#include "platform/os/Alarm.h"
#include "platform/os/Process.h"
#include "platform/runtime/TThreadTimerQueue.h"
#include "platform/runtime/TTimer.h"
#include "runtime/AlarmClock.h"
#include "shmem/TCoreRun.h"
#include "support/Forked.h"

namespace {

using namespace Dova;

using TestSupport::ExitCodeOfChild;
using TestSupport::kPatienceMs;
using TestSupport::TAlarmClock;

// A static client's objects; destroyed in the exit handlers of the children and of this process.
struct TStatics {
  std::unique_ptr<TCoreRunRef> core;
  std::unique_ptr<TAlarmClock> clock;
} statics;

struct TForkTest : testing::Test {
  TForkTest() {
    statics.core = std::make_unique<TCoreRunRef>();
    statics.clock = std::make_unique<TAlarmClock>();
    statics.clock->Start(1'000'000);
  }
  ~TForkTest() override { statics = {}; }
};

int UseAll() {
  if (Os::ProcessGeneration() != 1) return 1;
  if (TThreadTimerQueue::Instance().ThreadCount() != 0) return 2;
  statics.clock->Start(0);  // has no effect
  TAlarmClock fresh;
  fresh.Start(1);
  if (!fresh.Rings()) return 3;
  const TCoreRunRef core;
  if (TCoreRun::Acquire().State() != TThread::rs_Running) return 4;
  if (TCoreRun::Release()) return 5;
  return 0;
}

TEST_F(TForkTest, AChildBeginsAnewAndLeavesWithStatics) {
  EXPECT_EQ(ExitCodeOfChild(UseAll), 0);
  EXPECT_EQ(ExitCodeOfChild([] {
              statics = {};
              if (TCoreRun::Release()) return 6;
              return ExitCodeOfChild([] { return Os::ProcessGeneration() == 2 ? 0 : 7; }).value_or(8);
            }),
            0);
}

// Forks occur in every state of locks and threads.
TEST_F(TForkTest, AChildMayBeForkedAtAnyMoment) {
  if (!TestSupport::kForksAtAnyMoment) GTEST_SKIP() << "not the sanitizers' own allocator and registry";
  std::atomic<bool> stop{false};
  std::thread busy([&] {
    TAlarmClock clock;
    while (!stop) {
      TAlarmClock other;
      other.Start(0);
      clock.Start(0);
      const TCoreRunRef core;
    }
  });
  for (int round = 0; round < 30; ++round) EXPECT_EQ(ExitCodeOfChild(UseAll), 0) << round;
  stop = true;
  busy.join();
}

TEST(ForkedChild, UsesEventsThatOthersWereSetting) {
  if (!TestSupport::kForksAtAnyMoment) GTEST_SKIP() << "not the sanitizers' own allocator and registry";
  Os::TEvent event;
  Os::TAlarm alarm;
  std::atomic<bool> stop{false};
  std::thread busy([&] {
    while (!stop) {
      event.Set();
      event.Wait(0);
      alarm.Wake();
    }
  });
  const auto use = [&] {
    event.Set();
    alarm.Wake();
    alarm.WaitUntil(Os::kNever);
    return event.Wait(0) ? 0 : 1;
  };
  for (int round = 0; round < 50; ++round) EXPECT_EQ(ExitCodeOfChild(use), 0) << round;
  stop = true;
  busy.join();
}

// As an interpreter does to threads that call into it after it has ended.
TEST(ForcedUnwind, AnExpiryThatEndsItsThreadHoldsUpNothing) {
  for (int round = 0; round < 20; ++round) {
    Os::TEvent entered;
    TAlarmClock ended([&] {
      entered.Set();
      pthread_exit(nullptr);
    });
    TAlarmClock other;
    ended.Start(0);
    EXPECT_TRUE(entered.Wait(kPatienceMs));
    if (round % 2 == 0) ended.Start(0);
    other.Start(1);
    EXPECT_TRUE(other.Rings());
  }
  while (TThreadTimerQueue::Instance().ThreadCount() != 0) std::this_thread::yield();
}

TEST(ForcedUnwind, AThreadThatIsEndedIsJoined) {
  Os::TThread thread;
  ASSERT_TRUE(thread.Start("ended", [] { pthread_exit(nullptr); }));
  EXPECT_TRUE(thread.Join());
}

}  // namespace
