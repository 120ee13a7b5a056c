// Events and alarms: never early, never lost.
#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "platform/os/Alarm.h"
#include "platform/os/Clock.h"
#include "platform/os/Event.h"

namespace Dova::Os {
namespace {

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
  for (const std::int64_t ns : {1LL, 300'000LL, 1'000'000LL, 7'000'000LL, 60'000'000LL}) {
    const auto due = MonotonicNs() + ns;
    alarm.WaitUntil(due);
    EXPECT_GE(MonotonicNs(), due);
  }
  alarm.WaitUntil(0);
}

// On an idle machine a step of 1 ms takes little longer. The bound allows for a busy one, but not for a
// system tick of 15.6 ms per step.
TEST(Alarm, StepsAreFine) {
  TAlarm alarm;
  std::int64_t best = INT64_MAX;
  for (int step = 0; step < 100; ++step) {
    const auto began = MonotonicNs();
    alarm.WaitUntil(began + 1'000'000);
    best = std::min(best, MonotonicNs() - began);
  }
  EXPECT_LT(best, 10'000'000);
}

TEST(Alarm, WakeBeforeTheWaitEndsIt) {
  TAlarm alarm;
  alarm.Wake();
  alarm.Wake();
  alarm.WaitUntil(TAlarm::kNever);
  std::thread other([&] { alarm.Wake(); });
  alarm.WaitUntil(TAlarm::kNever);
  other.join();
}

}  // namespace
}  // namespace Dova::Os
