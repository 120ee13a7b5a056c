// Events, alarms, threads and windows on a system without free handles.
#include "os/win32/HandleShortage.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "platform/os/Alarm.h"
#include "platform/os/Clock.h"
#include "platform/os/Event.h"
#include "platform/os/MessageWindow.h"
#include "platform/os/Socket.h"
#include "platform/os/Thread.h"
#include "support/TcpPeer.h"

namespace {

using namespace std::chrono_literals;
using Dova::Os::MonotonicNs;
using Dova::Os::TAlarm;
using Dova::Os::TClock;
using Dova::Os::TEvent;
using Dova::Os::TThread;
using Dova::Os::TTime;
using namespace TestSupport;

TEST(HandleShortage, AnEventKeepsItsPromises) {
  const auto there = MadeWithout<TEvent>(kEvents);
  const auto back = MadeWithout<TEvent>(kEvents);
  const auto began = MonotonicNs();
  EXPECT_FALSE(there->Wait(30));
  EXPECT_GE(MonotonicNs() - began, 30'000'000);
  there->Set();
  there->Set();
  EXPECT_TRUE(there->Wait());
  EXPECT_FALSE(there->Wait(0)) << "sets add up";
  TThread other;
  ASSERT_TRUE(other.Start("echo", [&] {
    for (int i = 0; i < 10; ++i) {
      there->Wait();
      back->Set();
    }
  }));
  for (int i = 0; i < 10; ++i) {
    there->Set();
    EXPECT_TRUE(back->Wait());
  }
  EXPECT_TRUE(other.Join());
}

TEST(HandleShortage, AnAlarmKeepsItsPromises) {
  for (const unsigned kinds : {kEvents + kTimers, kEvents + 0, kTimers + 0}) {
    const auto alarm = MadeWithout<TAlarm>(kinds);
    for (const std::chrono::nanoseconds time : {1ns, 300'000ns, 7'000'000ns, 80'000'000ns}) {
      const TTime due = TClock::now() + time;
      alarm->WaitUntil(due);
      EXPECT_TRUE(TClock::now() >= due);
    }
    for (const TTime ahead : {Dova::Os::kNever, TClock::now() + 1h}) {
      alarm->Wake();
      alarm->WaitUntil(ahead);
      TThread other;
      ASSERT_TRUE(other.Start("waker", [&] { alarm->Wake(); }));
      alarm->WaitUntil(ahead);
      EXPECT_TRUE(other.Join());
    }
  }
}

TEST(HandleShortage, AThreadIsRefusedAndMayBeAskedForAgain) {
  TThread thread;
  const auto runs = std::make_shared<std::atomic<int>>(0);
  const auto start = [&] { return thread.Start("worker", [runs] { ++*runs; }); };
  {
    const TRefusing refusing(kEvents);
    EXPECT_FALSE(start());
  }
  EXPECT_EQ(runs.use_count(), 1);
  EXPECT_TRUE(thread.Join()) << "there is nothing to wait for";
  ASSERT_TRUE(start());
  EXPECT_TRUE(thread.Join());
  EXPECT_EQ(*runs, 1);
}

TEST(HandleShortage, ASocketSaysThatItCannotConnect) {
  TTcpPeer peer;
  const auto socket = MadeWithout<Dova::Os::TSocket>(kEvents);
  Dova::Os::TError error;
  EXPECT_FALSE(
      socket->Connect(Dova::Os::ResolveNumeric("127.0.0.1", peer.Port()), TClock::now() + 10s, error));
  EXPECT_TRUE(error);
  socket->FinishSending();
  socket->Abort();
}

class TWindow final : public Dova::Os::TMessageHandler {
 public:
  static constexpr unsigned kSent = 1100, kPosted = 1101;

  ~TWindow() { Dova::Os::DeallocateHWnd(window); }

  int sent = 0, posted = 0;
  const Dova::Os::TWindowRef window = Dova::Os::AllocateHWnd_Impl(*this);

 private:
  bool OnMessage(const Dova::Os::TMessage& message) noexcept override {
    if (message.code == kSent) ++sent;
    if (message.code == kPosted) ++posted;
    return message.code == kSent || message.code == kPosted;
  }
  void OnWindowGone() noexcept override {}
};

TEST(HandleShortage, SentMessagesAreAnsweredInAWaitAndPostedOnesAreNot) {
  TWindow target;
  const auto done = MadeWithout<TEvent>(kEvents);
  TThread other;
  ASSERT_TRUE(other.Start("sender", [&] {
    target.window->Post(TWindow::kPosted);
    for (int i = 0; i < 100; ++i) target.window->Send({TWindow::kSent});
    done->Set();
  }));
  EXPECT_TRUE(done->Wait());
  EXPECT_EQ(target.sent, 100);
  EXPECT_EQ(target.posted, 0);
  EXPECT_TRUE(other.Join());
}

}  // namespace
