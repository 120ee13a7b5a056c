#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "RawClient.h"
#include "sim/SimText.h"

namespace VekSim {
namespace {

using namespace std::string_literals;

TEST(Server, RefusesSignOnsAndChangesPasswords) {
  const SimConfig config;
  SimServer server(config);
  RawClient client(server, config);
  client.Connect();
  client.Next();
  client.SignOn("trader/", "wrong");
  const std::string refusal = client.Next();
  EXPECT_EQ(refusal.substr(2, 9), "\2\2\7\x14\0\0\0\0\0"s);
  EXPECT_EQ(refusal.substr(11), "trader/" + ToBig5("使用者代號或密碼錯誤"));

  const auto change = [&](std::string texts) {
    client.Send(Packet(Code::kSession, "\1\6\6\3"s + texts));
    return client.Next().substr(2);
  };
  EXPECT_EQ(change("traderSecretnew"),
            "\2\1\6\x17"
            "trader" +
                ToBig5("密碼變更失敗:舊密碼錯誤"));
  EXPECT_EQ(change("tradersecretnew"),
            "\2\1\6\x0C"
            "trader" +
                ToBig5("密碼變更成功"));
  client.SignOn("trader/", "new");
  EXPECT_EQ(client.NextText().substr(0, 11), "\x0ASgn.Result");
  EXPECT_EQ(server.Seen().passChanges.size(), 2u);
}

TEST(Server, SendsOnDemandInOrder) {
  SimConfig config;
  config.key = "key";
  SimServer server(config);
  RawClient client(server, config);
  EXPECT_FALSE(server.SendReport(SimServer::kAll, "nobody is there"));
  client.Enter();
  EXPECT_FALSE(server.SendReport(2, "no such session"));
  EXPECT_TRUE(server.SendLong(1, Code::kReport, "ABCDE", 2, {{Code::kHeartbeat, ""}}));
  EXPECT_TRUE(server.SendPacket(1, 200, "body"));
  EXPECT_TRUE(server.SendReport(SimServer::kAll, "last"));
  EXPECT_TRUE(server.Disconnect(1));
  for (const std::string& packet : {"\7\0\3\2\0AB"s, "\3\0\1"s, "\7\0\3\2\0CD"s, "\6\0\x82\1\0E"s,
                                    "\7\0\xC8"
                                    "body"s,
                                    "\x09\0\x82\4\0last"s, ""s}) {
    EXPECT_EQ(client.Next(), packet);
  }
}

TEST(Server, HoldsRatesByTheClockItIsGiven) {
  std::atomic<int> ms{0};
  SimConfig config;
  config.queryRate = {1, 100, 0};
  config.requestRate = {2, 1000, 0};
  config.refuseFast = true;
  config.clock = [&] { return std::chrono::milliseconds(ms); };
  SimServer server(config);
  RawClient client(server, config);
  client.Enter();
  client.Request(Code::kAck,
                 "a new\nprod=TXF side=B qty=1 price=1\nb new\nprod=TXF side=B qty=1 price=1\nc new\n");
  EXPECT_EQ(client.NextText(),
            "a\1accepted\1"
            "A00001\nb\1accepted\1"
            "A00002\nc\1rejected\1" +
                ToBig5("傳送過於頻繁"));
  client.NextText();
  client.NextText();
  for (const int at : {0, 99, 199}) {
    ms = at;
    client.Request(Code::kTask, "q deals");
    EXPECT_EQ(client.NextText().find("REFUSED") != std::string::npos, at == 99) << at;
  }
  EXPECT_EQ(server.Seen().requestViolations, 1u);
  EXPECT_EQ(server.Seen().queryViolations, 1u);
}

TEST(Server, ReportsGoToEverySessionThatSeesTheAccount) {
  const SimConfig config;
  SimServer server(config);
  RawClient one(server, config), other(server, config), stranger(server, config);
  one.Enter();
  other.Enter();
  stranger.Connect();
  stranger.Next();
  stranger.SignOn("demo/", "demo");
  stranger.NextText();
  one.Request(Code::kAck, "w new\nprod=MXF side=S qty=1 price=20000");
  EXPECT_EQ(other.NextText().rfind("accepted\1", 0), 0u);
  one.Request(Code::kAck, "x cancel\nord=A00001");
  EXPECT_EQ(other.NextText().rfind("cancelled\1", 0), 0u);
  one.Request(Code::kAck, "y cancel\nord=A00001");
  stranger.Request(Code::kTask, "q orders");
  EXPECT_EQ(stranger.NextText().substr(0, 2), "\1q");
}

TEST(Server, PlaysQueuedFaultsAtTheirEvents) {
  const SimConfig config;
  SimServer server(config);
  server.Faults().Push({SimEvent::SignOn, FaultKind::Refuse, 0, "舊密碼錯誤"});
  server.Faults().Push({SimEvent::Connect, FaultKind::Refuse, 0, "no"});
  RawClient client(server, config);
  client.Connect();
  const std::string hello = client.Next();
  EXPECT_EQ(hello[3], 1);
  EXPECT_NE(hello.find("ERROR\nno"), std::string::npos);
  client.SignOn("trader/", "secret");
  EXPECT_EQ(client.Next().substr(11), "trader/" + ToBig5("舊密碼錯誤"));
  client.SignOn("trader/", "secret");
  client.NextText();

  client.Request(Code::kTask, "q accounts");
  const std::size_t size = kPrefixSize + client.NextText().size();
  server.Faults().Push({SimEvent::Request, FaultKind::WrongLength, 2});
  server.Faults().Push({SimEvent::Request, FaultKind::InnerLength});
  server.Faults().Push({SimEvent::Request, FaultKind::Garbage, 5});
  server.Faults().Push({SimEvent::Request, FaultKind::CutLong, 2});
  const auto ask = [&](std::size_t count) {
    client.Request(Code::kTask, "q accounts");
    return client.Read(count);
  };
  EXPECT_EQ(ask(size).substr(0, 3), "\2\0\x80"s);
  EXPECT_EQ(ask(size).substr(3, 2), "\xFF\xFF");
  EXPECT_EQ(ask(5 + size).substr(0, 5), Noise(5, 1));
  client.Request(Code::kTask, "q accounts");
  const std::string bytes = client.ReadAll();
  EXPECT_EQ(bytes.size(), 2u * (5 + 16)) << "two pieces, then the end of the stream";
  EXPECT_EQ(bytes.substr(0, 5), "\x15\0\3\x10\0"s);
  EXPECT_EQ(server.Faults().Waiting(), 0u);
}

TEST(Server, CutsTheStreamBehindTheByteAskedFor) {
  SimConfig config;
  config.link.split = 1;
  for (const int cut : {0, 1, 3, 20}) {
    SimServer server(config);
    LinkFaults faults = config.link;
    faults.cutAfter = cut;
    server.Faults().PushLink(faults);
    RawClient client(server, config);
    if (cut > 0) client.Connect();
    EXPECT_EQ(client.ReadAll().size(), static_cast<std::size_t>(cut));
  }
}

TEST(Server, StalledSessionReadsOnWhenItIsLetGo) {
  SimConfig config;
  config.link.stall = true;
  SimServer server(config);
  RawClient client(server, config);
  client.Connect();
  ASSERT_TRUE(server.WaitFor([](const SimSeen& seen) { return seen.sessions == 1; }));
  EXPECT_TRUE(server.Seen().connects.empty());
  server.SetLink(1, {});
  EXPECT_EQ(CodeOf(client.Next()), Code::kConnect);
}

TEST(Server, BrokenStreamEndsTheLink) {
  const SimConfig config;
  SimServer server(config);
  RawClient client(server, config);
  client.Write("\2\0\1"s);
  EXPECT_EQ(client.Next(), "");
  EXPECT_TRUE(server.WaitFor([](const SimSeen& seen) { return seen.broken == 1 && seen.closed == 1; }));
}

// Clients that never read, endless pieces, delays, a stall: none may delay Stop.
TEST(Server, StopsAtAnyMoment) {
  for (int round = 0; round < 20; ++round) {
    SimConfig config;
    config.heartbeatMs = 1;
    SimServer server(config);
    server.Faults().Push({SimEvent::Request, FaultKind::EndlessPieces, 4000});
    RawClient endless(server, config), idle(server, config);
    LinkFaults slow;
    slow.delayMs = 60000;
    endless.Enter();
    idle.Enter();
    server.SetLink(2, slow);
    endless.Request(Code::kTask, "q accounts");
    idle.Request(Code::kTask, "q accounts");
    std::thread sender([&] {
      for (int i = 0; i < 50; ++i) server.SendReport(SimServer::kAll, std::string(100, 'r'));
    });
    if (round % 2 == 0) {
      EXPECT_TRUE(server.WaitFor([](const SimSeen& seen) { return seen.requests.size() == 2; }));
    }
    server.Stop();
    sender.join();
    EXPECT_FALSE(server.SendReport(SimServer::kAll, "gone")) << "every link is known to have ended";
  }
}

// A text added without its characters in the table would contain question marks.
TEST(Server, PlainResultsLackNoCharacter) {
  SimConfig config;
  config.utf8 = false;
  SimServer server(config);
  RawClient client(server, config);
  client.Enter();
  for (const char* verb :
       {"products", "accounts", "orders", "deals", "positions", "ticks", "cancel", "new", "nothing"}) {
    client.Request(Code::kTask, "w " + std::string(verb) + "\nprod=TXF side=B qty=0 price=MKT");
    const std::string result = client.NextText();
    EXPECT_GT(result.size(), 30u) << verb;
    EXPECT_EQ(result.find('?'), std::string::npos) << verb;
  }
  client.Request(Code::kTask, "w accounts\nenc=utf8");
  EXPECT_NE(client.NextText().find("UTF8\n\2acc"), std::string::npos);
}

TEST(Server, PortInUseIsAnError) {
  SimServer first;
  SimConfig config;
  config.port = first.Port();
  EXPECT_THROW(SimServer second(config), std::system_error);
}

}  // namespace
}  // namespace VekSim
