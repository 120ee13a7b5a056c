// Behaviour if threads or memory are not available when needed.
#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <memory>
#include <string>

#include "flowctrl/TFlowCtrl.h"
#include "platform/os/Alarm.h"
#include "platform/runtime/TThreadTimerQueue.h"
#include "platform/runtime/TTimer.h"
#include "runtime/AlarmClock.h"
#include "runtime/Shortage.h"
#include "shmem/TCoreRun.h"
#include "support/SessionFixture.h"
#include "support/TVirtualTimerQueue.h"
#include "vekapi/VekClient.h"
#include "vekapi/VekClientHandler.h"
#include "vekapi/VekFlowCtrlSender.h"
#include "vekapi/VekLink.h"
#include "vekapi/VekSessionC.h"
#include "vekapi/VekTaskResult.h"

namespace {

using namespace Dova;
using TestSupport::kPatienceMs;
using TestSupport::refuseThreads;
using TestSupport::TAlarmClock;
using TestSupport::TNoMemory;

TEST(Shortage, ARefusedTimerThreadIsAskedForAtEveryChance) {
  const struct {
    const char* name;
    bool withCore;
    std::function<void(TAlarmClock&)> chance;
  } chances[] = {{"another timer's start", false, [](TAlarmClock&) { TAlarmClock().Start(1'000'000); }},
                 {"a new timer", false, [](TAlarmClock&) { TAlarmClock(); }},
                 {"the core thread's round", true, [](TAlarmClock&) {}}};
  for (const auto& [name, withCore, chance] : chances) {
    std::unique_ptr<TCoreRunRef> core;
    if (withCore) core = std::make_unique<TCoreRunRef>();
    TAlarmClock clock;
    refuseThreads = true;
    clock.Start(0);
    refuseThreads = false;
    chance(clock);
    EXPECT_TRUE(clock.Rings()) << name;
  }
  EXPECT_EQ(TThreadTimerQueue::Instance().ThreadCount(), 0u);
}

// Nobody would end it if its server were silent.
TEST(Shortage, ALinkWithoutTimersIsRefused) {
  VekApi::VekClientHandlerBase events;
  refuseThreads = true;
  VekApi::VekClient client(events);
  client.Connect(":TestMes:lend", "App", "1.2", "id", "sub", "secret");
  EXPECT_EQ(client.State(), VekApi::vcs_LinkError);
  EXPECT_EQ(VekApi::VekLink::Reason(client), vsr_NoThread);
  refuseThreads = false;
  client.Connect(":TestMes:lend", "App", "1.2", "id", "sub", "secret");
  EXPECT_EQ(client.State(), VekApi::vcs_Connecting);
}

TEST(Shortage, WaitingTakesNoMemory) {
  const TNoMemory none;
  Os::TEvent event;
  EXPECT_FALSE(event.Wait(1));
  event.Set();
  EXPECT_TRUE(event.Wait());
  Os::TAlarm alarm;
  alarm.Wake();
  alarm.WaitUntil(Os::kNever);
  EXPECT_FALSE(none.WasFelt());
}

TEST(Shortage, AThreadWithoutMemoryIsRefused) {
  for (int first = 0;; ++first) {
    Os::TThread thread;
    const TNoMemory none(first);
    const bool started = thread.Start("shortage", [] {});
    EXPECT_NE(started, none.WasFelt());
    thread.Join();
    if (started) break;
  }
}

TEST(Shortage, TheLimiterKeepsToTheRateWithoutMemory) {
  for (const bool memory : {true, false}) {
    TestSupport::TVirtualTimerQueue queue;
    TFlowCtrl limiter(true);
    std::unique_ptr<TNoMemory> none;
    if (!memory) none = std::make_unique<TNoMemory>();
    limiter.SetFlowCtrl(3000, 1000);
    std::vector<std::int64_t> sent;
    if (memory) none = std::make_unique<TNoMemory>();
    none.reset();
    for (int step = 0; step < 20'000; ++step) {
      queue.AdvanceTo(queue.NowNs() + 250'000);
      if (limiter.CheckFlowCtrl(false) != 0) continue;
      const bool full = sent.size() >= 3000;
      EXPECT_TRUE(!full || queue.NowNs() - sent[sent.size() - 3000] >= 1'000'000'000);
      sent.push_back(queue.NowNs());
    }
    // Five seconds: 15000 at the full rate.
    EXPECT_GE(sent.size(), memory ? 14'900u : 12'000u);
  }
}

TEST(Shortage, ASenderThatCannotHoldTheRestCountsNothing) {
  using Requests = std::deque<std::string>;
  VekApi::VekClientHandlerBase events;
  VekApi::VekClient client(events);
  std::string lines = ".....";
  for (int i = 0; i < 6; ++i) lines += std::string(100, 'a') + "\n1\n";
  const Requests texts(6, std::string(100, 'b'));
  for (const bool inLines : {true, false}) {
    bool failed = true;
    for (int first = 0; failed; ++first) {
      VekApi::VekFlowCtrlSender sender(client);
      sender.SetFlowCtrl(2, 1'000'000);
      try {
        const TNoMemory none(first);
        inLines ? sender.SendVekRequests(lines.data(), static_cast<unsigned>(lines.size()))
                : sender.SendVekRequests(texts);
        failed = false;
      } catch (const std::bad_alloc&) {
        EXPECT_EQ(sender.PendingCount(), 0U);
        for (int place = 0; place < 2; ++place) EXPECT_EQ(sender.CheckFlowCtrl(), 0U) << first;
      }
    }
  }
}

using ShortageOfASession = vektest::SessionTest;

TEST_F(ShortageOfASession, APasswordChangeIsRefused) {
  SignOn();
  mes->TakeSent();
  const std::string user(20, 'u'), text(20, 'p');
  bool sent = true;
  {
    const TNoMemory none;
    sent = client->ChgPass(user, text, text);
  }
  EXPECT_FALSE(sent);
  EXPECT_EQ(mes->TakeSent(), "");
}

// Each call fails at another allocation every time, until it has all it needs. What it answers then says so.
TEST(Shortage, FunctionsOfASessionSayThatThereIsNoMemory) {
  CVekSessionConfig config;
  CVekSession_Defaults(&config, sizeof config);
  config.id1 = "a name too long to be kept in place";
  CVekSession session{};
  const std::string text(100, 'x'), setting = ":TestMes:" + text, packet = vektest::Message(130, text);
  const VekApi::VekTaskResult result;
  CVekEvent event{};
  event.size = sizeof event;
  event.kind = vse_Trace;
  event.flags = vsg_Packet | vsg_LowFirst;
  event.text = packet.data();
  event.textLength = static_cast<std::uint32_t>(packet.size());
  event.workId = event.detail = text.c_str();
  event.result.object = const_cast<VekApi::VekTaskResult*>(&result);
  char out[1000];
  const auto create = [&] {
    CVekSession_Delete(&session);
    std::int32_t reason = 0;
    session = CVekSession_Create(&config, &reason);
    return reason == 0;
  };
  const auto keep = [&] {
    CVekTaskResult kept = CVekSession_KeepResult(&session, &event);
    const bool done = kept.object;
    CVekTaskResult_Free(&kept);
    return done;
  };
  const std::pair<const char*, std::function<bool()>> calls[] = {
      {"create", create},
      {"endpoint", [&] { return CVekSession_AddEndpoint(&session, setting.c_str()) == 0; }},
      {"resync", [&] { return CVekSession_AddResync(&session, text.c_str()) == 0; }},
      {"password", [&] { return CVekSession_SetPassword(&session, text.c_str()) == 0; }},
      {"keep", keep},
      {"utf8", [&] { return CVekApi_ToUtf8(text.data(), 100, out, sizeof out) != 0; }},
      {"describe", [&] { return CVekApi_Describe(&event, out, sizeof out) != 0; }},
      {"record", [&] { return CVekApi_RecordOf(&event, out, sizeof out) != 0; }}};
  for (const auto& [name, call] : calls) {
    bool felt = true;
    for (int first = 0; felt && first < 1000; ++first) {
      bool done = false;
      {
        const TNoMemory none(first);
        done = call();
        felt = none.WasFelt();
      }
      EXPECT_NE(done, felt) << name << ' ' << first;
    }
    EXPECT_FALSE(felt) << name;
  }
  CVekSession_Delete(&session);
}

}  // namespace
