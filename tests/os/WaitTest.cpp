// Events and alarms: never early, never lost.
#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "platform/os/Alarm.h"
#include "platform/os/Clock.h"
#include "platform/os/Event.h"

namespace Dova::Os {
namespace {

using namespace std::chrono_literals;

TEST(Event, SetsDoNotAddUpAndTimeoutsAreNotEarly) {
  TEvent event;
  event.Set();
  event.Set();
  EXPECT_TRUE(event.Wait());
  EXPECT_FALSE(event.Wait(0));
  const auto began = MonotonicNs();
  EXPECT_FALSE(event.Wait(30));
  EXPECT_GE(MonotonicNs() - began, 30'000'000);
}

// A waiter may destroy the event at once, before Set has returned.
TEST(Event, DestroyedRightAfterItsWait) {
  for (int i = 0; i < 300; ++i) {
    auto event = std::make_unique<TEvent>();
    std::thread setter([&raw = *event] { raw.Set(); });
    event->Wait();
    event.reset();
    setter.join();
  }
}

TEST(Alarm, NeverEarly) {
  TAlarm alarm;
  for (const std::chrono::nanoseconds time : {1ns, 300'000ns, 1'000'000ns, 7'000'000ns, 60'000'000ns}) {
    const TTime due = TClock::now() + time;
    alarm.WaitUntil(due);
    EXPECT_TRUE(TClock::now() >= due);
  }
  alarm.WaitUntil({});
}

// On an idle machine a step of 1 ms takes little longer. The bound allows for a busy one, but not for a
// system tick of 15.6 ms per step.
TEST(Alarm, StepsAreFine) {
  TAlarm alarm;
  TClock::duration best = 1h;
  for (int step = 0; step < 100; ++step) {
    const TTime began = TClock::now();
    alarm.WaitUntil(began + 1ms);
    best = std::min(best, TClock::now() - began);
  }
  EXPECT_TRUE(best < 10ms) << best.count();
}

TEST(Alarm, WakeBeforeTheWaitEndsIt) {
  TAlarm alarm;
  alarm.Wake();
  alarm.Wake();
  alarm.WaitUntil(kNever);
  std::thread other([&] { alarm.Wake(); });
  alarm.WaitUntil(kNever);
  other.join();
}

}  // namespace
}  // namespace Dova::Os
