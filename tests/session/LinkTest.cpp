// Heartbeat, lost links, sends, and invalid streams.
#include "support/SessionFixture.h"

namespace vektest {
namespace {

const std::string kHeartbeat = Pack(1, "");
constexpr unsigned kPeriodMs = 30'000;

TEST_F(SessionTest, SilentServerIsUnknown) {
  Connect();
  TestMes::Last()->Ready();
  time.Advance(kPeriodMs - 1);
  EXPECT_EQ(recorder.Take(), Lines{});
  time.Advance(1);
  EXPECT_EQ(recorder.Take(), Lines{"connect -4 Unknown server"});
  time.Advance(10 * kPeriodMs);
  EXPECT_EQ(recorder.Take(), Lines{});
}

TEST_F(SessionTest, HeartbeatComesAPeriodAfterTheLastSend) {
  SignOn(false, 1, "key");
  time.Advance(kPeriodMs - 1);
  std::string request = ".....x";
  ASSERT_TRUE(client->SendVekRequest(129, request.data(), 6));
  mes->TakeSent();
  time.Advance(kPeriodMs - 1);
  EXPECT_EQ(mes->TakeSent(), "");
  time.Advance(1);
  EXPECT_EQ(mes->TakeSent(), kHeartbeat) << "never scrambled";
  EXPECT_EQ(recorder.Take(), Lines{});
}

TEST_F(SessionTest, ServerThatFallsSilentTimesOut) {
  SignOn();
  for (int period = 0; period < 3; ++period) {
    FromServer(Pack(1, ""));
    time.Advance(kPeriodMs);
    EXPECT_EQ(mes->TakeSent(), kHeartbeat) << "an idle session goes on beating";
  }
  time.Advance(kPeriodMs);
  EXPECT_EQ(recorder.Take(), Lines{"connect -7 Heartbeat timeout"});
  EXPECT_FALSE(client->IsSessionConnected());
  FromServer(Message(130, "late"));
  EXPECT_EQ(recorder.Take(), Lines{"report late"}) << "the link itself is not closed";
}

TEST_F(SessionTest, LostLinks) {
  Connect();
  TestMes::Last()->Fail("refused");
  EXPECT_EQ(recorder.Take(), Lines{"connect -2 refused"});

  SignOn();
  mes->Break("gone");
  EXPECT_EQ(recorder.Take(), Lines{"connect -3 gone"});
  std::string request = ".....x";
  client->SendVekRequest(129, request.data(), 6);
  time.Advance(10 * kPeriodMs);
  EXPECT_EQ(recorder.Take(), Lines{}) << "a lost link has no heartbeat";

  Link();
  FromServer(SgnReply(0, "no"));
  recorder.Take();
  mes->Break("gone");
  EXPECT_EQ(recorder.Take(), Lines{}) << "silent after a refused sign-on";
  EXPECT_EQ(client->State(), VekApi::vcs_SgnError);
  EXPECT_FALSE(TestMes::Last());
}

TEST_F(SessionTest, DisconnectForgetsTheLink) {
  SignOn(false, 1, "key");
  mes->Deliver(Scrambled(Message(130, "half"), "key").substr(0, 6));
  client->Disconnect();
  EXPECT_EQ(recorder.Take(), Lines{"connect -1 Disconnect()"});
  EXPECT_EQ(client->ServerName(), "");
  std::string request = ".....x";
  EXPECT_FALSE(client->SendVekRequest(129, request.data(), 6));
  EXPECT_EQ(request, ".....x") << "what was not sent is not consumed";
  EXPECT_FALSE(client->SendPk(request.data(), 6));
  time.Advance(10 * kPeriodMs);
  EXPECT_EQ(recorder.Take(), Lines{});
  SignOn();
  FromServer(Message(130, "whole"));
  EXPECT_EQ(recorder.Take(), Lines{"report whole"});
}

TEST_F(SessionTest, SendsTakeAllOrNothing) {
  SignOn();
  std::string request(5 + 4091, 'r');
  EXPECT_FALSE(client->SendVekRequest(129, request.data(), 5));
  EXPECT_TRUE(client->SendVekRequest(7, request.data(), 6));
  EXPECT_EQ(mes->TakeSent(), Message(7, "r"));
  request.assign(5 + 4091, 'r');
  const int before = mes->Sends();
  EXPECT_TRUE(client->SendVekRequest(129, request.data(), 5 + 4091));
  EXPECT_EQ(mes->TakeSent(), Message(3, std::string(4090, 'r')) + Message(129, "r"));
  EXPECT_EQ(mes->Sends(), before + 1) << "the pieces of a message go to the messenger together";
  mes->refuseSends = true;
  EXPECT_FALSE(client->SendVekRequest(129, request.data(), 6));
  EXPECT_EQ(client->SendVekQueryRequest(request.data(), 6), -1);
  EXPECT_EQ(client->SendVekQueryRequest(request.data(), 5), -1);
}

TEST_F(SessionTest, PacketBuilders) {
  char head[3];
  VekApi::VekClient::SetPkHead(head, 0x456, 0x123);
  EXPECT_EQ(std::string(head, 3), "\x23\x41\x56");
  VekApi::VekClient::SetPkHead(head, 4095, 4095);
  EXPECT_EQ(std::string(head, 3), "\xFF\xFF\xFF");
  std::string buffer = "0123456789";
  for (const int length : {2, 4099, -1}) {
    EXPECT_FALSE(VekApi::VekClient::MakePkBuffer(buffer, 1, length));
    EXPECT_EQ(buffer, "0123456789");
  }
  EXPECT_TRUE(VekApi::VekClient::MakePkBuffer(buffer, 2, 5));
  EXPECT_EQ(buffer, std::string("\x05\x00\x02"
                                "34",
                                5));
  EXPECT_TRUE(VekApi::VekClient::MakePkBuffer(buffer, 2, 4098));
  EXPECT_EQ(buffer.substr(0, 6), std::string("\x02\x00\x02"
                                             "34\0",
                                             6));
}

TEST_F(SessionTest, BrokenStreamEndsTheLink) {
  SignOn();
  mes->Deliver(std::string(3, '\0') + Message(130, "not believed"));
  EXPECT_EQ(recorder.Take(), Lines{"connect -3 Invalid packet length"});
  EXPECT_FALSE(TestMes::Last()) << "closed";
}

TEST_F(SessionTest, LengthsInsideBodiesAreCut) {
  SignOn();
  const std::string tooLong = U16(4000, false);
  FromServer(Pack(3, tooLong + "AB") + Pack(3, "A") + Pack(130, tooLong + "CD"));
  FromServer(Pack(130, "") + Pack(129, "\x01") + Pack(200, ""));
  FromServer(Pack(128, std::string("\0\0\x03Wrk", 6) + tooLong +
                           "\x02T\n\x03"
                           "A\nx\n"));
  FromServer(Pack(128, std::string("\0\0\xFFW", 4)));
  FromServer(Pack(2, "") + Pack(2, "\x01") + Pack(2, "\x01\xFF\xFFuser") +
             Pack(2, std::string("\x02\xFF\0\0", 4)));
  FromServer(Pack(0, "x") + Pack(2, std::string("\x02\xFF\xFF\xFF\0\0\0\0", 8) + "m"));
  const std::string tables =
      "\x02T\n\x03"
      "A\nx\n";
  EXPECT_EQ(recorder.Take(), (Lines{"report ABCD", "report ", "ack 129 ", "unknown 200 " + Pack(200, ""),
                                    "result Wrk " + tables, "result  ", "chgpass user ", "connect -5 "}));
}

}  // namespace
}  // namespace vektest
