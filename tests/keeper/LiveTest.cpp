// Sessions with simulated servers over TCP, in real time.
#include <gtest/gtest.h>

#include <thread>

#include "keeper/KeptSession.h"
#include "sim/SimServer.h"
#include "support/SimSession.h"

namespace vektest {
namespace {

TEST(Live, PolledEventsWaitForWhoTakesThem) {
  VekSim::SimServer server;
  CVekSessionConfig config = KeptSession::Config();
  config.delivery = vsd_Poll;
  KeptSession kept(config);
  CVekSession_AddResync(&kept.session, "products");
  kept.Open({Setting(server)});
  std::vector<std::string> lines;
  CVekEvent event{};
  event.size = sizeof event;
  const auto next = [&] {
    if (CVekSession_Next(&kept.session, 30'000, &event) != 1) return false;
    lines.push_back(LineOf(event));
    return true;
  };
  while (next() && lines.back() != "signed on, resynchronising") continue;
  // The session is not up until the result has been taken.
  EXPECT_EQ(kept.Order("W1"), vsr_NotUp);
  while (next() && lines.back() != "up") continue;
  EXPECT_EQ(kept.Query("Q1"), 0);
  ASSERT_TRUE(next());
  EXPECT_EQ(lines.back(), "Q1 answered");
  CVekTaskResult kept1 = CVekSession_KeepResult(&kept.session, &event);
  EXPECT_STREQ(CVekTaskResult_WorkID(&kept1), "Q1");
  CVekTaskResult_Free(&kept1);
  EXPECT_EQ(CVekSession_Next(&kept.session, 0, &event), 0);
  EXPECT_NE(CVekSession_WaitHandle(&kept.session), -1);
  CVekSession_Close(&kept.session, 0);
  ASSERT_TRUE(next());
  EXPECT_EQ(lines.back(), "closed: the session was closed");
}

TEST(Live, LoopEventsComeOnTheMakersThread) {
  VekSim::SimServer server;
  CVekSessionConfig config = KeptSession::Config();
  config.delivery = vsd_Loop;
  KeptSession kept(config);
  const auto me = std::this_thread::get_id();
  bool others = false, up = false, closed = false;
  kept.onEvent = [&](CVekSession*, const CVekEvent& event) {
    others = others || std::this_thread::get_id() != me;
    up = up || event.state == vss_Up;
    closed = event.state == vss_Closed;
    if (event.kind == vse_Fate) CVekSession_Close(&kept.session, 0);
  };
  kept.Open({Setting(server)});
  while (!up && CVekMessageLoop_Dispatch(30'000) > 0) continue;
  EXPECT_EQ(kept.Order("W1"), 0);
  while (!closed && CVekMessageLoop_Dispatch(30'000) > 0) continue;
  EXPECT_TRUE(up && closed && !others);
}

}  // namespace
}  // namespace vektest
