// The C++20 header over the sessions' flat functions.
#include "vekapi/Session.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "sim/SimServer.h"

namespace vektest {
namespace {

using namespace std::chrono_literals;
using VekApi::VekFate;
using VekApi::VekSession;

constexpr const char* kOrder = "new\nprod=TXF side=B qty=1 price=MKT";

CVekSessionConfig Config(std::int32_t delivery = vsd_Threads) {
  CVekSessionConfig config = VekSession::Defaults();
  config.id1 = "trader";
  config.delivery = delivery;
  config.rateCount = 1, config.rateMs = 600'000;  // the second order stays held
  return config;
}

void Open(VekSession& session, const VekSim::SimServer& server) {
  session.AddEndpoint(":" + server.Setting());
  session.AddResync("orders");
  session.Open("secret");
  ASSERT_TRUE(session.WaitUntilUp(30s));
}

VekApi::VekDetached Trade(VekSession& session, std::promise<std::vector<VekFate>>& done) {
  std::vector<VekFate> fates;
  fates.push_back(co_await session.Query("products", 20s));
  fates.push_back(co_await session.Send(kOrder, 20s));
  fates.push_back(co_await session.Send("one line only", 20s));
  fates.push_back(co_await session.Send(kOrder, 20s));  // until the session ends
  done.set_value(std::move(fates));
}

TEST(SessionWrapper, CoroutinesGoOnWithTheirFates) {
  VekSim::SimServer server;
  std::promise<std::vector<VekFate>> done;
  {
    VekSession session(Config());
    Open(session, server);
    Trade(session, done);
    EXPECT_TRUE(server.WaitFor([](const VekSim::SimSeen& seen) { return seen.batches == 1; }));
    while (session.Stats().held == 0) std::this_thread::yield();
  }
  const std::vector<VekFate> fates = done.get_future().get();
  EXPECT_EQ(fates[0].fate, vsf_Answered);
  EXPECT_FALSE(fates[0].result["products"].empty()) << "kept";
  EXPECT_TRUE(fates[1].IsAnswered());
  EXPECT_EQ(fates[1].text.rfind(fates[1].workId, 0), 0u);
  EXPECT_EQ(fates[2].reason, vsr_BadText);
  EXPECT_EQ(fates[3].fate, vsf_NeverSent);
  EXPECT_STREQ(fates[3].ReasonText(1), "連線階段已關閉");
}

TEST(SessionWrapper, PolledFatesComeInsideNextAndInTheDestructor) {
  VekSim::SimServer server;
  int told = 0;
  {
    VekSession session(Config(vsd_Poll));
    Open(session, server);
    const auto note = [&](const VekFate&) {
      ++told;
      EXPECT_TRUE(session.InCallback());
      EXPECT_THROW(session.Ask("products", 20s), VekApi::VekInCallback);
    };
    EXPECT_EQ(session.Submit(VekSession::Request(cvmc_RequestAck, 20s, 0ms), kOrder, note).fate, vsf_None);
    const std::string_view tooLong(kOrder, (std::uint64_t{1} << 32) + 10);  // is not read
    EXPECT_EQ(session.Submit(VekSession::Request(cvmc_RequestAck, 20s, 0ms), tooLong, note).reason,
              vsr_BadText);
    while (told == 0 && session.Next(20s)) continue;
    session.Submit(VekSession::Request(cvmc_RequestAck, 20s, 0ms), kOrder, note);
    EXPECT_EQ(told, 1);
  }
  EXPECT_EQ(told, 2);
}

// Whatever the events of the last link and of failing calls say meanwhile.
TEST(SessionWrapper, WaitsForTheLinkThatWasOpened) {
  VekSim::SimServer server;
  for (const std::int32_t delivery : {vsd_Threads, vsd_Loop, vsd_Poll}) {
    std::atomic<int> ups{0};
    VekSession session(Config(delivery), [&](const CVekEvent& event) {
      for (int i = 0; i < 1000; ++i) std::this_thread::yield();
      if (event.kind == vse_State && event.state == vss_Up) ++ups;
    });
    Open(session, server);
    EXPECT_EQ(ups, 1) << "the event has been handled";
    session.Close();
    session.Open("secret");
    EXPECT_THROW(session.Open(), VekApi::VekError);
    EXPECT_TRUE(session.WaitUntilUp(VekSession::Ms::max())) << "delivery " << delivery;
    EXPECT_EQ(ups, 2);
  }
}

// Even while another thread is inside Submit.
TEST(SessionWrapper, IsClosedWhenCloseReturns) {
  VekSim::SimServer server;
  CVekSessionConfig config = Config(vsd_Poll);
  config.rateCount = 0;
  for (int round = 0; round < 12; ++round) {
    VekSession session(config);
    Open(session, server);
    std::atomic<bool> going{true};
    std::thread other([&] {
      while (going) session.Submit(VekSession::Request(cvmc_RequestAck, 20s, 0ms), kOrder, {});
    });
    session.Next(20s);
    session.Close();
    while (session.Next(0ms)) continue;
    EXPECT_EQ(session.State(), vss_Closed) << "round " << round;
    going = false;
    other.join();
  }
}

TEST(SessionWrapper, NothingWaitsForItself) {
  VekSim::SimServer server;
  std::promise<bool> threw;
  std::promise<void> submitted;
  std::optional<VekSession> session;
  session.emplace(Config(), [&](const CVekEvent& event) {
    if (event.kind != vse_Report) return;
    try {
      session->Ask("products", 1s);
      threw.set_value(false);
    } catch (const VekApi::VekInCallback&) {
      submitted.get_future().wait();
      session.reset();  // destroys the running function too
      threw.set_value(true);
    }
  });
  Open(*session, server);
  session->Submit(VekSession::Request(cvmc_RequestAck, 20s, 0ms), kOrder, {});
  submitted.set_value();
  EXPECT_TRUE(threw.get_future().get());
  EXPECT_FALSE(session.has_value());
}

TEST(SessionWrapper, SaysWhatIsWrong) {
  CVekSessionConfig config = Config();
  config.delivery = 77;
  EXPECT_THROW(VekSession{config}, VekApi::VekError);
  VekSession session(Config());
  EXPECT_THROW(session.Open("secret"), VekApi::VekError) << "without an endpoint";
  EXPECT_FALSE(session.WaitUntilUp(30s)) << "nobody tries";
  EXPECT_EQ(session.Ask("products", 1s).get().reason, vsr_NotUp);
  EXPECT_EQ(VekApi::ToUtf8("\xA4\xA4"), "中");
  const CVekSubmit times = VekSession::Request(cvmc_RequestAck, -1h, VekSession::Ms::max());
  EXPECT_EQ(times.answerMs, 1u);
  EXPECT_EQ(times.holdMs, UINT32_MAX);

  VekSim::SimServer server;
  session.AddEndpoint(":" + server.Setting());
  session.Open("wrong");
  EXPECT_FALSE(session.WaitUntilUp(30s));
  EXPECT_EQ(session.State(), vss_Refused);
}

}  // namespace
}  // namespace vektest
