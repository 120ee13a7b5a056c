#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "RawClient.h"
#include "sim/SimText.h"

namespace VekSim {
namespace {

using namespace std::string_literals;

TEST(Server, HoldsRatesByTheClockItIsGiven) {
  std::atomic<int> ms{0};
  SimConfig config;
  config.queryRate = {1, 100, 0};
  config.requestRate = {2, 1000, 0};
  config.refuseFast = true;
  config.clock = [&] { return std::chrono::milliseconds(ms); };
  SimServer server(config);
  RawClient client(server);
  client.Enter();
  client.Request(Code::kAck,
                 "a new\nprod=TXF side=B qty=1 price=1\nb new\nprod=TXF side=B qty=1 price=1\nc new\n");
  EXPECT_EQ(client.NextText(),
            "a\1accepted\1"
            "A00001\nb\1accepted\1"
            "A00002\nc\1rejected\1" +
                ToBig5("傳送過於頻繁") +
                "\1"
                "190");
  client.NextText();
  client.NextText();
  for (const int at : {0, 99, 199}) {
    ms = at;
    client.Request(Code::kTask, "q deals");
    EXPECT_EQ(client.NextText().find("190\1") != std::string::npos, at == 99) << at;
  }
  EXPECT_EQ(server.Seen().requestViolations, 1u);
  EXPECT_EQ(server.Seen().queryViolations, 1u);
}

TEST(Server, PlaysQueuedFaultsAtTheirEvents) {
  const SimConfig config;
  SimServer server(config);
  server.Faults().Push({SimEvent::SignOn, FaultKind::Refuse, 0, "舊密碼錯誤"});
  server.Faults().Push({SimEvent::Connect, FaultKind::Refuse, 0, "no"});
  RawClient client(server);
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
    RawClient client(server);
    if (cut > 0) client.Connect();
    EXPECT_EQ(client.ReadAll().size(), static_cast<std::size_t>(cut));
  }
}

TEST(Server, BrokenStreamEndsTheLink) {
  const SimConfig config;
  SimServer server(config);
  RawClient client(server);
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
    RawClient endless(server), idle(server);
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

}  // namespace
}  // namespace VekSim
