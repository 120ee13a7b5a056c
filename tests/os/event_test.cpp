#include "platform/os/Event.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/os/Clock.h"

namespace {

using Dova::Os::MonotonicNs;
using Dova::Os::TEvent;

TEST(Event, SetsDoNotAddUp) {
  TEvent event;
  EXPECT_FALSE(event.Wait(0));
  event.Set();
  event.Set();
  EXPECT_TRUE(event.Wait());
  EXPECT_FALSE(event.Wait(0));
}

TEST(Event, TimeoutIsNotEarly) {
  TEvent event;
  const auto began = MonotonicNs();
  EXPECT_FALSE(event.Wait(30));
  EXPECT_GE(MonotonicNs() - began, 30'000'000);
}

TEST(Event, SetWakesAWaitingThread) {
  TEvent there;
  TEvent back;
  std::thread other([&] {
    for (int i = 0; i < 1000; ++i) {
      there.Wait();
      back.Set();
    }
  });
  for (int i = 0; i < 1000; ++i) {
    there.Set();
    back.Wait();
  }
  other.join();
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

}  // namespace
