// What an application does by hand: resynchronisation, traces, structures of an older version.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>

#include "keeper/Kept.h"
#include "protocol/Recording.h"
#include "support/SessionFixture.h"
#include "vekapi/VekApiC.h"
#include "vekapi/VekLink.h"

namespace vektest {
namespace {

class ByHand : public Kept {
 protected:
  void Resync() {
    kept->onEvent = [this](CVekSession*, const CVekEvent& event) { link = event.link; };
    Connect();
    mes->TakeSent();
    mes->Deliver(SgnResult());
    time.Advance(0);
    const Lines sent = Sent();
    query = sent.empty() ? "" : sent.back();
    kept->Take();
  }
  void Answer() { mes->Deliver(TaskResult(query, "none")); }
  std::string Told() {
    const Lines lines = After(0);
    return lines.empty() ? "" : lines.back();
  }

  std::uint32_t link = 0;
  std::string query;  // of the resynchronisation
};

TEST_F(ByHand, ResynchronisedWhenQueriesAreAnsweredAndTheApplicationSaysSo) {
  CVekSessionConfig config = KeptSession::Config();
  config.flags |= vsc_ResyncByHand;
  kept.emplace(config);
  CVekSession* const session = &kept->session;
  CVekSession_AddResync(session, "orders");
  EXPECT_EQ(CVekSession_ResyncDone(session, 1, true), vsr_TooLate) << "not asked";
  kept->Open({":TestMes:lend"});
  Resync();
  Answer();
  EXPECT_EQ(Told(), query + " answered") << "the application has not said so";
  EXPECT_EQ(CVekSession_ResyncDone(session, link + 1, true), vsr_TooLate) << "of another link";
  EXPECT_EQ(CVekSession_ResyncDone(session, 1, true), 0);
  EXPECT_EQ(Told(), "up");
  EXPECT_EQ(CVekSession_ResyncDone(session, 1, true), vsr_TooLate) << "twice";

  mes->Break("gone");
  time.Advance(60'000);
  Resync();
  EXPECT_EQ(CVekSession_ResyncDone(session, link, true), 0);
  EXPECT_EQ(Told(), "") << "the query is out";
  Answer();
  EXPECT_EQ(Told(), "up");

  mes->Break("gone");
  time.Advance(60'000);
  Resync();
  Answer();
  EXPECT_EQ(CVekSession_ResyncDone(session, link, false), 0);
  time.Advance(0);
  EXPECT_EQ(Told(),
            std::string("waiting to connect again: ") + CVekApi_Text(vst_Reason, vsr_ResyncFailed, 0));
}

TEST_F(ByHand, WhatACallbackThrowsIsLost) {
  kept.emplace();
  CVekSession_AddResync(&kept->session, "orders");
  kept->Open({":TestMes:lend"});
  Resync();
  kept->onEvent = [](CVekSession*, const CVekEvent&) { throw 1; };
  Answer();
  EXPECT_EQ(Told(), "up");
}

TEST_F(ByHand, AMessageLoopTellsThousandsInSeveralTurns) {
  CVekSessionConfig config = KeptSession::Config();
  config.delivery = vsd_Loop;
  kept.emplace(config);
  kept->Open({":TestMes:lend"});
  Resync();
  while (CVekMessageLoop_Dispatch(0) > 0) continue;
  kept->Take();
  for (int i = 0; i < 2500; ++i) mes->Deliver(Message(130, std::to_string(i)));
  while (CVekMessageLoop_Dispatch(0) > 0) continue;
  const auto lines = kept->Take();
  ASSERT_EQ(lines.size(), 2500U);
  for (std::size_t i = 0; i < lines.size(); ++i) EXPECT_EQ(lines[i], "report " + std::to_string(i));
}

TEST_F(ByHand, StructuresOfAnOlderVersion) {
  CVekSessionConfig config = KeptSession::Config();
  config.size = offsetof(CVekSessionConfig, user) + sizeof config.user;
  kept.emplace(config);
  std::int32_t reason = 0;
  config.size -= 1;
  CVekSession none = CVekSession_Create(&config, &reason);
  EXPECT_EQ(reason, vsr_BadArgument);
  EXPECT_FALSE(none.object);
}

class TraceByHand : public SessionTest, public VekApi::VekTraceHandler {
 protected:
  void OnVekTraceEvent(VekApi::VekClient& traced, const CVekEvent& event) override {
    EXPECT_EQ(&traced, client.get());
    codes.push_back(event.code);
  }
  std::vector<int> codes;
};

TEST_F(TraceByHand, UntilItIsEnded) {
  SignOn();
  VekApi::VekLink::SetTrace(*client, this, vtl_Packets);
  FromServer(Message(130, "x"));
  EXPECT_EQ(codes, (std::vector<int>{130}));
  VekApi::VekLink::SetTrace(*client, nullptr, vtl_Packets);
  FromServer(Message(130, "x"));
  EXPECT_EQ(codes.size(), 1U);
}

TEST(Records, OfEveryState) {
  using VekApi::ERecord;
  const struct {
    std::int32_t state;
    ERecord kind;
  } cases[] = {{vss_Connecting, ERecord::LinkUp}, {vss_SigningOn, ERecord::State},
               {vss_Resyncing, ERecord::State},   {vss_Up, ERecord::State},
               {vss_Refused, ERecord::State},     {vss_Draining, ERecord::Note},
               {vss_Waiting, ERecord::LinkEnd},   {vss_Stopped, ERecord::LinkEnd}};
  for (const auto& [state, kind] : cases) {
    CVekEvent event{};
    event.size = sizeof event;
    event.kind = vse_State;
    event.state = state;
    event.link = 1;
    event.text = event.workId = event.detail = "";
    char record[512] = {};
    EXPECT_NE(CVekApi_RecordOf(&event, record, sizeof record), 0U) << state;
    VekApi::TRecordHeadBytes bytes;
    std::copy_n(record, bytes.size(), bytes.begin());
    const auto head = VekApi::ReadRecordHead(bytes);
    ASSERT_TRUE(head) << state;
    EXPECT_EQ(head->kind, kind) << state;
  }
}

}  // namespace
}  // namespace vektest
