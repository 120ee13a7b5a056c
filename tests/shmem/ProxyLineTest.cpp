// The proxy link protocol, and the heartbeat in virtual time.
#include <thread>

#include "ShMemFixture.h"

namespace vektest {
namespace {

TEST_F(ShMemTest, AsksForTheNameAndJoins) {
  proxy->Ready();
  EXPECT_EQ(proxy->TakeSent(), "Req:ShMemName\n");
  EXPECT_EQ(mes->Send("early", 5), 0) << "there is no link yet";
  ASSERT_TRUE(Create(1000));
  std::string lines;
  while (lines.size() < 3000) lines += "\nack:ShMemName:" + base + "\nHb:\nAck:ShMemName:none\n";
  proxy->Deliver(lines + "Hello");
  EXPECT_EQ(events.LinkLines(), Lines{}) << "a name that cannot be joined leaves the proxy link open";
  for (const char c : "\nAck:ShMemName:" + base + "\nAck:ShMemName:other\n") proxy->Deliver({c});
  EXPECT_EQ(events.LinkLines(), Lines{"ready"}) << "the second name comes too late";
  EXPECT_EQ(proxy->TakeSent(), "");
  EXPECT_EQ(mes->Send("late", 4), 4);
  char buffer[16];
  EXPECT_EQ(rings.Read(buffer, sizeof buffer), 4);
}

// Chunks are 1024 bytes. An unterminated line longer than 4096 bytes is dropped; what follows is a line
// again.
TEST_F(ShMemTest, LongLinesAreDropped) {
  for (const auto& [filler, joins] :
       std::map<std::size_t, bool>{{1, false}, {4096, false}, {4097, true}, {5120, true}, {9000, false}}) {
    events.Clear();
    Open();
    ASSERT_TRUE(Create(1000));
    proxy->Ready();
    proxy->Deliver(std::string(filler, 'x'));
    proxy->Deliver("Ack:ShMemName:" + base + "\n");
    EXPECT_EQ(events.LinkLines(), joins ? Lines{"ready"} : Lines{}) << filler;
  }
}

TEST_F(ShMemTest, HeartbeatAfterSilence) {
  Link();
  time.Advance(29'999);
  EXPECT_EQ(proxy->TakeSent(), "");
  time.Advance(1);
  EXPECT_EQ(proxy->TakeSent(), "Hb:\n");
  time.Advance(9'999);
  proxy->Deliver("Hb:\n");
  time.Advance(20'000);
  proxy->Deliver("Hb:the gateway's own\n");
  time.Advance(29'999);
  EXPECT_EQ(proxy->TakeSent(), "") << "each put everything off";
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
  events.Clear();
  Open();
  proxy->Ready();
  proxy->Break("gone");
  EXPECT_EQ(events.LinkLines(), Lines{"error ShMem name: gone"});
}

TEST_F(ShMemTest, RequestThatCannotBeSentIsAnError) {
  proxy->refuseSends = true;
  proxy->Ready();
  EXPECT_EQ(events.LinkLines(), Lines{"error ShMem name: request not sent"});
}

// The expiry has begun and waits for an event that takes longer than the timeout; the answer arrives first.
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

TEST_F(ShMemTest, LastBytesOfAGatewayThatIsGone) {
  Link();
  rings.Write("farewell", 8);
  proxy->Break("gone");
  EXPECT_TRUE(events.WaitForBytes("farewell"));
  EXPECT_TRUE(events.WaitFor("broken ShMem proxy link: gone"));
  EXPECT_EQ(events.LinkLines(), (Lines{"ready", "broken ShMem proxy link: gone"}));
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
