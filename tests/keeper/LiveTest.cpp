// Sessions with simulated servers over TCP, in real time: reported fates are checked against the servers'
// records.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <optional>
#include <set>
#include <thread>

#include "keeper/KeptSession.h"
#include "sim/SimGateway.h"
#include "sim/SimServer.h"

namespace vektest {
namespace {

std::string SettingOf(const VekSim::SimServer& server) {
  return "127.0.0.1:" + std::to_string(server.Port());
}

// The requests of code 129 received by any of the servers, by work id.
std::multiset<std::string> SeenBy(const std::vector<const VekSim::SimServer*>& servers) {
  std::multiset<std::string> ids;
  for (const VekSim::SimServer* server : servers) {
    for (const VekSim::SimRequest& request : server->Seen().requests) {
      if (request.code == 129) ids.insert(request.workId);
    }
  }
  return ids;
}

// No false fate: acknowledged requests were received once, those reported as never sent were not.
void ExpectTruth(const KeptSession& kept, const std::multiset<std::string>& seen, std::size_t tickets) {
  EXPECT_EQ(kept.fates.size(), tickets);
  for (const auto& [ticket, fates] : kept.fates) {
    ASSERT_EQ(fates.size(), 1U) << ticket;
    const std::string id = "W" + std::to_string(fates[0].tag);
    const std::size_t times = seen.count(id);
    EXPECT_LE(times, 1U) << id;
    EXPECT_TRUE(fates[0].fate != vsf_NeverSent || times == 0) << id;
    EXPECT_TRUE(fates[0].fate != vsf_Acknowledged || times == 1) << id;
  }
}

int OrderTagged(KeptSession& kept, std::uint64_t tag) {
  const std::string id = "W" + std::to_string(tag);
  const std::string text = id + " new\nprod=TXF side=B qty=1 price=MKT";
  CVekSubmit request = KeptSession::Request(129, id.c_str(), text);
  request.tag = tag;
  return kept.Submit(request);
}

TEST(Live, AServerIsKilledAndAnotherOneTaken) {
  VekSim::SimConfig server;
  server.requestRate = {5, 50, 5};
  std::optional<VekSim::SimServer> first(std::in_place, server);
  VekSim::SimServer second(server);
  CVekSessionConfig config = KeptSession::Config();
  config.rateCount = 5;
  config.rateMs = 50;
  config.firstDelayMs = 20;
  KeptSession kept(config);
  CVekSession_AddResync(&kept.session, "products");
  kept.Open({SettingOf(*first), SettingOf(second)});
  ASSERT_TRUE(kept.WaitFor("up"));
  EXPECT_EQ(kept.Query("Q1"), 0);
  ASSERT_TRUE(kept.WaitFor("Q1 answered"));
  std::size_t tickets = 2;  // those of the resync query and of this one
  std::uint64_t tag = 0;
  while (tag < 40) tickets += OrderTagged(kept, ++tag) == 0;
  ASSERT_TRUE(kept.WaitFor("W7 acknowledged"));
  const auto saw = [&] { return SeenBy({&*first}); };
  first->Stop();
  const auto seenFirst = saw();
  EXPECT_EQ(first->Seen().requestViolations, 0U);
  ASSERT_TRUE(kept.WaitFor("up", 2));
  ++tickets;
  while (tag < 50) tickets += OrderTagged(kept, ++tag) == 0;
  ASSERT_TRUE(kept.WaitFor("W50 acknowledged"));
  CVekSession_Close(&kept.session, 5000);
  ASSERT_TRUE(kept.WaitFor("closed"));
  auto seen = SeenBy({&second});
  seen.insert(seenFirst.begin(), seenFirst.end());
  for (auto& [ticket, fates] : kept.fates) {
    if (fates[0].code != 129) fates[0].tag = 0;
  }
  ExpectTruth(kept, seen, tickets);
  EXPECT_EQ(second.Seen().requestViolations, 0U);
}

// Threads submit while links are cut; checks all fates.
void SubmitUnderCuts(VekSim::SimServer& server, const std::string& setting,
                     const std::function<void()>& cut) {
  CVekSessionConfig config = KeptSession::Config();
  config.firstDelayMs = config.maxDelayMs = 1;
  config.maxShortLinks = 0;
  config.rateCount = 20, config.rateMs = 10;  // as fast as a slow machine can search
  config.maxHeld = 100;
  KeptSession kept(config);
  kept.Open({setting});
  std::atomic<std::size_t> tickets{0};
  std::atomic<bool> cutting{true};
  const auto submit = [&](std::uint64_t tag) {
    for (const std::uint64_t end = tag + 1000; tag < end || cutting; ++tag) {
      const std::string id = "W" + std::to_string(tag), text = id + " new\nprod=TXF side=B qty=1 price=MKT";
      CVekSubmit request = KeptSession::Request(129, id.c_str(), text);
      request.tag = tag;
      tickets += CVekSession_Submit(&kept.session, &request, nullptr) == 0;
      std::this_thread::yield();
    }
  };
  ASSERT_TRUE(kept.WaitFor("up"));
  std::thread one(submit, 1'000'000), other(submit, 2'000'000);
  for (std::size_t i = 1; i <= 10; ++i) {
    EXPECT_TRUE(kept.WaitFor("up", i));
    EXPECT_TRUE(kept.WaitFor("W", 20 * i));
    cut();
  }
  EXPECT_TRUE(kept.WaitFor("up", 11));
  cutting = false;
  one.join();
  other.join();
  CVekSession_Close(&kept.session, 20'000);
  ASSERT_TRUE(kept.WaitFor("closed"));
  ASSERT_TRUE(server.WaitFor([](const VekSim::SimSeen& seen) { return seen.signedOn.empty(); }));
  ExpectTruth(kept, SeenBy({&server}), tickets);
}

TEST(Live, NoLiesWhenTheServerCuts) {
  VekSim::SimServer server;
  bool reset = false;
  SubmitUnderCuts(server, SettingOf(server),
                  [&] { server.Disconnect(VekSim::SimServer::kAll, reset = !reset); });
}

TEST(Live, NoLiesOverSharedMemory) {
  VekSim::SimServer server;
  VekSim::SimGatewayConfig config;
  config.upstreamPort = server.Port();
  config.ringBytes = 1 << 12;
  VekSim::SimGateway gateway(config);
  SubmitUnderCuts(server, gateway.Setting(), [&] { gateway.DropLinks(); });
}

// More than the system accepts while the server does not read: what stayed in the session was never sent.
TEST(Live, WhatTheSystemNeverTookWasNeverSent) {
  VekSim::SimServer server;
  KeptSession kept;
  kept.Open({SettingOf(server)});
  ASSERT_TRUE(kept.WaitFor("up"));
  VekSim::LinkFaults stalled;
  stalled.stall = true;
  server.SetLink(1, stalled);
  const std::string tail(1 << 20, 'x');
  std::size_t tickets = 0;
  for (std::uint64_t tag = 1; tag <= 14; ++tag) {
    const std::string id = "W" + std::to_string(tag), text = id + " new\n" + tail;
    CVekSubmit request = KeptSession::Request(129, id.c_str(), text);
    request.tag = tag;
    request.holdMs = 1;
    request.answerMs = UINT32_MAX;
    tickets += kept.Submit(request) == 0;
  }
  server.Disconnect(1, true);
  ASSERT_TRUE(kept.WaitFor("waiting to connect again: the connection broke"));
  std::size_t never = 0, unknown = 0;
  for (const auto& [ticket, fates] : kept.fates) {
    never += fates[0].fate == vsf_NeverSent && fates[0].handedNs != 0;
    unknown += fates[0].fate == vsf_Unknown;
  }
  EXPECT_GT(never, 0U);
  EXPECT_GT(unknown, 0U);
  ExpectTruth(kept, SeenBy({&server}), tickets);
}

// Whatever its other threads are doing: every ticket has its fate when Delete returns, and no event follows.
TEST(Live, DeletedAtAnyMoment) {
  VekSim::SimServer server;
  for (std::size_t moment = 1; moment <= 60; ++moment) {
    CVekSessionConfig config = KeptSession::Config();
    config.rateCount = 3;
    config.rateMs = 1;
    KeptSession kept(config);
    kept.Open({SettingOf(server)});
    ASSERT_TRUE(kept.WaitFor("up"));
    std::size_t tickets = 0;
    for (std::uint64_t tag = 1; tag <= 60; ++tag) tickets += OrderTagged(kept, tag) == 0;
    ASSERT_TRUE(kept.WaitFor("", 3 + moment));
    CVekSession_Delete(&kept.session);
    EXPECT_EQ(kept.fates.size(), tickets);
    for (const auto& [ticket, fates] : kept.fates) EXPECT_EQ(fates.size(), 1U);
    EXPECT_EQ(kept.Take().back(), "closed: the session was closed");
    EXPECT_TRUE(kept.Take().empty());
  }
}

TEST(Live, PolledEventsWaitForWhoTakesThem) {
  VekSim::SimServer server;
  CVekSessionConfig config = KeptSession::Config();
  config.delivery = vsd_Poll;
  KeptSession kept(config);
  CVekSession_AddResync(&kept.session, "products");
  kept.Open({SettingOf(server)});
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
  kept.Open({SettingOf(server)});
  while (!up && CVekMessageLoop_Dispatch(30'000) > 0) continue;
  EXPECT_EQ(kept.Order("W1"), 0);
  while (!closed && CVekMessageLoop_Dispatch(30'000) > 0) continue;
  EXPECT_TRUE(up && closed && !others);
}

}  // namespace
}  // namespace vektest
