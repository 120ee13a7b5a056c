#include "platform/os/Alarm.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/os/Clock.h"

namespace {

using Dova::Os::MonotonicNs;
using Dova::Os::TAlarm;

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
