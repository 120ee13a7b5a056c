// What is said over the proxy link, and the heartbeat in virtual time.
#include <thread>

#include "ShMemFixture.h"

namespace vektest {
namespace {

TEST_F(ShMemTest, AsksForTheNameAndJoins) {
  proxy->Ready();
  EXPECT_EQ(proxy->TakeSent(), "Req:ShMemName\n");
  EXPECT_EQ(mes->Send("early", 5), 0) << "there is no link yet";
  Link();
  EXPECT_EQ(mes->Send("late", 4), 4);
  char buffer[16];
  EXPECT_EQ(rings.Read(buffer, sizeof buffer), 4);
}

TEST_F(ShMemTest, LinesInPieces) {
  ASSERT_TRUE(Create(1000));
  proxy->Ready();
  for (const char c : "Hello\nAck:ShMemName:" + base + "\nAck:ShMemName:other\n") {
    if (c != '\0') proxy->Deliver(std::string(1, c));
  }
  EXPECT_EQ(events.LinkLines(), Lines{"ready"}) << "the second name comes too late";
}

TEST_F(ShMemTest, ManyLinesInOneChunk) {
  ASSERT_TRUE(Create(1000));
  proxy->Ready();
  std::string lines;
  while (lines.size() < 3000) lines += "\nack:ShMemName:no\nHb:\n";
  proxy->Deliver(lines + "Ack:ShMemName:" + base + "\nrest without an end");
  EXPECT_EQ(events.LinkLines(), Lines{"ready"});
}

struct LongLine {
  std::size_t filler;
  bool joins;
};
class LongLines : public ShMemTest, public testing::WithParamInterface<LongLine> {};

// Chunks are of 1024 bytes. A line that has grown beyond 4096 without an end is dropped; what follows is a
// line.
TEST_P(LongLines, AreDropped) {
  ASSERT_TRUE(Create(1000));
  proxy->Ready();
  proxy->Deliver(std::string(GetParam().filler, 'x'));
  proxy->Deliver("Ack:ShMemName:" + base + "\n");
  EXPECT_EQ(events.LinkLines(), GetParam().joins ? Lines{"ready"} : Lines{});
}
INSTANTIATE_TEST_SUITE_P(ByLength, LongLines,
                         testing::Values(LongLine{1, false}, LongLine{4096, false}, LongLine{4097, true},
                                         LongLine{5120, true}, LongLine{9000, false}));

TEST_F(ShMemTest, NamesThatCannotBeJoinedLeaveTheProxyLinkOpen) {
  proxy->Ready();
  proxy->TakeSent();
  ASSERT_TRUE(Create(1000));
  for (const std::string& name : {std::string(), FreshName(), std::string(4000, 'n'), std::string("a/../b"),
                                  std::string("\x01\xFF\\"), base + ".C2S"}) {
    proxy->Deliver("Ack:ShMemName:" + name + "\n");
  }
  EXPECT_EQ(events.LinkLines(), Lines{});
  EXPECT_EQ(proxy->TakeSent(), "");
  proxy->Deliver("Ack:ShMemName:" + base + "\n");
  EXPECT_EQ(events.LinkLines(), Lines{"ready"}) << "a better name helps";
}

TEST_F(ShMemTest, OneRingAloneIsNoLink) {
  proxy->Ready();
  Dova::TShMemChannel up;
  base = FreshName();
  ASSERT_TRUE(up.Open(base + ".C2S", 100, true));
  proxy->Deliver("Ack:ShMemName:" + base + "\n");
  EXPECT_EQ(events.LinkLines(), Lines{});
  EXPECT_EQ(mes->Send("x", 1), 0);
  time.Advance(9'999);
  EXPECT_EQ(events.LinkLines(), Lines{});
  time.Advance(1);
  ASSERT_EQ(events.LinkLines().size(), 1u);
  const std::string start = "error ShMem " + base + ".S2C: Invalid ShMem size: ";
  EXPECT_EQ(events.LinkLines()[0].rfind(start, 0), 0u) << events.LinkLines()[0];
  EXPECT_GT(events.LinkLines()[0].size(), start.size()) << "the system's text follows";
}

TEST_F(ShMemTest, HeartbeatAfterSilence) {
  Link();
  time.Advance(29'999);
  EXPECT_EQ(proxy->TakeSent(), "");
  time.Advance(1);
  EXPECT_EQ(proxy->TakeSent(), "Hb:\n");
  time.Advance(9'999);
  proxy->Deliver("Hb:\n");
  time.Advance(29'999);
  EXPECT_EQ(proxy->TakeSent(), "") << "the answer put everything off";
  time.Advance(1);
  EXPECT_EQ(proxy->TakeSent(), "Hb:\n");
  proxy->Deliver("Hello\n");
  time.Advance(9'999);
  EXPECT_EQ(events.LinkLines(), Lines{"ready"});
  time.Advance(1);
  EXPECT_EQ(events.LinkLines(), (Lines{"ready", "broken Hb timeout"}));
  time.Advance(100'000);
  EXPECT_EQ(proxy->TakeSent(), "");
  EXPECT_EQ(mes->Send("x", 1), 0);
}

TEST_F(ShMemTest, NoNameIsAnError) {
  EXPECT_EQ(mes->LinkTimeoutMs(), proxy->LinkTimeoutMs() + 10'000);
  proxy->Ready();
  proxy->TakeSent();
  time.Advance(5'000);
  proxy->Deliver("Hb:\n");
  time.Advance(4'999);
  EXPECT_EQ(events.LinkLines(), Lines{});
  time.Advance(1);
  EXPECT_EQ(events.LinkLines(), Lines{"error ShMem name: no answer"});
  EXPECT_EQ(proxy->TakeSent(), "");
}

TEST_F(ShMemTest, RequestThatCannotBeSentIsAnError) {
  proxy->refuseSends = true;
  proxy->Ready();
  EXPECT_EQ(events.LinkLines(), Lines{"error ShMem name: request not sent"});
}

// The expiry has begun and waits for an event that takes longer than the time-out; the answer comes in first.
TEST_F(ShMemTest, AnAnswerInTimeCountsHoweverLongAnEventTakes) {
  Link();
  time.Advance(30'000);
  std::thread expiry;
  {
    const Dova::TSyncScope event(mes->SyncContext());
    const std::int64_t due = time.NowNs() + 10'000'000'000;
    expiry = std::thread([&] { time.Advance(10'000); });
    while (time.NowNs() < due) std::this_thread::yield();
    proxy->Deliver("Hb:\n");
  }
  expiry.join();
  EXPECT_EQ(events.LinkLines(), Lines{"ready"});
}

TEST_F(ShMemTest, TheGatewaysOwnHeartbeatCounts) {
  Link();
  for (int i = 0; i < 10; ++i) {
    time.Advance(20'000);
    proxy->Deliver("Hb:anything\n");
  }
  EXPECT_EQ(proxy->TakeSent(), "");
}

TEST_F(ShMemTest, ProxyLinkFailsOrBreaks) {
  proxy->Fail("no route");
  EXPECT_EQ(events.LinkLines(), Lines{"error no route"});
}

TEST_F(ShMemTest, ProxyLinkBreaksBeforeTheName) {
  proxy->Ready();
  proxy->Break("gone");
  EXPECT_EQ(events.LinkLines(), Lines{"error gone"});
}

TEST_F(ShMemTest, LastBytesOfAGatewayThatIsGone) {
  Link();
  rings.Write("farewell", 8);
  proxy->Break("gone");
  EXPECT_TRUE(events.WaitForBytes("farewell"));
  EXPECT_TRUE(events.WaitFor("broken gone"));
  EXPECT_EQ(events.LinkLines(), (Lines{"ready", "broken gone"}));
  EXPECT_EQ(mes->Send("x", 1), 0);
}

TEST(ShMemSetting, WantsAnotherMessengersSetting) {
  for (const char* const setting :
       {"", "TestMes", "TestMes:", "Nothing:ok", "TCPClient:127.0.0.1", "ShMemCli:TestMes:ok"}) {
    EXPECT_FALSE(Dova::TShMemCli::Make()->SettingApply(setting)) << setting;
  }
}

}  // namespace
}  // namespace vektest
