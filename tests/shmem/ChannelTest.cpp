// Opening, joining and naming one ring, and its events.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>

#include "platform/os/Event.h"
#include "platform/os/NamedMapping.h"
#include "shmem/Process.h"
#include "shmem/TShMemChannel.h"
#include "support/Held.h"

namespace vektest {
namespace {

using Dova::TShMemChannel;
using Dova::Os::EOpen;
using Dova::Os::TNamedEvent;
using Dova::Os::TNamedEventWait;
using Dova::Os::TNamedMapping;

bool IsSet(TNamedEvent& event) {
  TNamedEventWait wait;
  return wait.Wait(event, event, 0) != 0;
}

// If global names require a privilege, local ones are tried.
TEST(Channel, CreatorAndJoinerShareARing) {
  const std::string name = "Global\\" + FreshName() + ".C2S";
  TShMemChannel creator, joiner;
  ASSERT_TRUE(creator.Open(name, 100, true)) << creator.Error();
  ASSERT_TRUE(joiner.Open(name)) << joiner.Error();
  EXPECT_FALSE(IsSet(creator.ReadEvent())) << "starts out not set";
  EXPECT_EQ(joiner.Write(std::string(150, 'x').data(), 150), 100);
  EXPECT_TRUE(IsSet(creator.ReadEvent()));
  EXPECT_FALSE(IsSet(creator.ReadEvent())) << "the wait took it back";
  EXPECT_FALSE(IsSet(creator.WriteEvent()));
  char buffer[200];
  EXPECT_EQ(creator.Read(buffer, sizeof buffer), 100);
  EXPECT_TRUE(IsSet(joiner.WriteEvent()));
  EXPECT_EQ(creator.Read(buffer, sizeof buffer), 0);
  EXPECT_FALSE(IsSet(joiner.WriteEvent())) << "nothing moved, nothing to tell";
}

// A size that cannot be created joins instead.
TEST(Channel, WhatNobodyCreatedCannotBeJoined) {
  const auto before = TestSupport::Held();
  for (const std::uint32_t size : {0u, 0xFFFFFFFFu}) {
    TShMemChannel channel;
    EXPECT_FALSE(channel.Open(FreshName(), size, true));
    EXPECT_EQ(channel.Error().rfind("Invalid ShMem size: ", 0), 0u) << channel.Error();
    EXPECT_FALSE(channel.IsOpen());
    EXPECT_EQ(channel.Name(), "");
  }
  EXPECT_EQ(TestSupport::Held(), before);
}

TEST(Channel, NamesOfAnyKindFailOrWork) {
  std::string everyByte = FreshName();
  for (int c = 1; c < 256; ++c) {
    if (c != '\\') everyByte += static_cast<char>(c);
  }
  for (const std::string& name : {FreshName() + "/../../etc/passwd", FreshName() + "\\back\\slash",
                                  FreshName() + std::string(5000, 'n'), FreshName() + std::string(240, '/'),
                                  everyByte, FreshName() + " %s %n"}) {
    TShMemChannel creator, joiner;
    const bool created = creator.Open(name, 10, true);
    EXPECT_EQ(joiner.Open(name), created) << name;
    if (!created) {
      EXPECT_EQ(creator.Error().find("CreateFileMapping:"), 0u) << creator.Error();
    }
  }
}

// The existing object could belong to another party that would read along.
TEST(Channel, WhatIsThereIsNotMadeAgain) {
  const std::string name = FreshName();
  TShMemChannel first, joiner, second;
  ASSERT_TRUE(first.Open(name, 50, true));
  ASSERT_TRUE(joiner.Open(name));
  EXPECT_FALSE(second.Open(name, 50, true));
  EXPECT_EQ(second.Error().find("CreateFileMapping:"), 0u) << second.Error();
  first.Close();
  EXPECT_EQ(joiner.Write("still there", 11), 11);
  joiner.Close();
  EXPECT_FALSE(joiner.Open(name));
  EXPECT_TRUE(second.Open(name, 50, true)) << second.Error();
}

struct EventWait : testing::Test {
  EventWait() {
    const std::string name = FreshName();
    EXPECT_TRUE(up.Open(name + ".C2S", 10, true));
    EXPECT_TRUE(down.Open(name + ".S2C", 10, true));
  }
  TShMemChannel up, down;
  TNamedEventWait wait;
};

TEST_F(EventWait, EitherEventBothEventsAndStop) {
  up.WriteEvent().Set();
  EXPECT_EQ(wait.Wait(down.ReadEvent(), up.WriteEvent()), TNamedEventWait::kSecond);
  up.WriteEvent().Set();
  down.ReadEvent().Set();
  down.ReadEvent().Set();
  EXPECT_EQ(wait.Wait(down.ReadEvent(), up.WriteEvent()), TNamedEventWait::kFirst | TNamedEventWait::kSecond);
  up.ReadEvent().Set();
  EXPECT_EQ(wait.Wait(down.ReadEvent(), up.WriteEvent(), 1), 0u) << "that one was not waited for";
  std::thread setter([&] { down.ReadEvent().Set(); });
  EXPECT_EQ(wait.Wait(down.ReadEvent(), up.WriteEvent()), TNamedEventWait::kFirst);
  setter.join();
  std::thread stopper([&] { wait.Stop(down.ReadEvent(), up.WriteEvent()); });
  EXPECT_EQ(wait.Wait(down.ReadEvent(), up.WriteEvent()), TNamedEventWait::kStopped);
  stopper.join();
  EXPECT_EQ(wait.Wait(down.ReadEvent(), up.WriteEvent()), TNamedEventWait::kStopped);
}

// The next one comes as soon as the last was seen: while the thread falls asleep.
TEST_F(EventWait, NoSetIsLostOnTheWayToSleep) {
  constexpr int kTimes = 10'000;
  std::atomic<int> seen{0};
  std::thread setter([&] {
    for (int i = 0; i < kTimes; ++i) {
      up.WriteEvent().Set();
      while (seen.load() <= i) std::this_thread::yield();
    }
  });
  unsigned news = TNamedEventWait::kSecond;
  for (int i = 0; i < kTimes && news == TNamedEventWait::kSecond; ++i) {
    news = wait.Wait(down.ReadEvent(), up.WriteEvent(), 20'000);
    seen.store(i + 1);
  }
  EXPECT_EQ(news, TNamedEventWait::kSecond) << "lost after " << seen;
  seen.store(kTimes);
  setter.join();
}

TEST_F(EventWait, LazySecondIsNotLostAndANudgeTellsIt) {
  // Reported once per nudge, at any point of the other thread's falling asleep.
  constexpr int kTimes = 2000;
  Dova::Os::TEvent told;
  std::thread nudger([&] {
    for (int i = 0; i < kTimes; ++i) {
      wait.Nudge(up.WriteEvent());
      told.Wait();
    }
  });
  for (int i = 0; i < kTimes; ++i) {
    EXPECT_EQ(wait.Wait(down.ReadEvent(), up.WriteEvent(), TNamedEventWait::kForever, true),
              TNamedEventWait::kSecond);
    told.Set();
  }
  nudger.join();
  std::thread setter([&] {
    up.WriteEvent().Set();
    down.ReadEvent().Set();
  });
  unsigned news = 0;
  while (news != (TNamedEventWait::kFirst | TNamedEventWait::kSecond)) {
    news |= wait.Wait(down.ReadEvent(), up.WriteEvent(), TNamedEventWait::kForever, true);
  }
  setter.join();
}

}  // namespace
}  // namespace vektest
