// How links end, by themselves and by the application, and what is sent until then.
#include "support/SessionFixture.h"

namespace vektest {
namespace {

constexpr unsigned kPeriodMs = 30'000;
constexpr unsigned kStageMs = 45'000;

using LinkLifeTest = SessionTest;

// A server that only sends heartbeats, and an application that sends: both postpone the heartbeat forever.
TEST_F(LinkLifeTest, EveryStageOfAHandshakeEndsInAnEvent) {
  const struct {
    bool linked;
    std::string said;
    Lines end;
  } stages[] = {{false, "", {"connect -4 Unknown server"}},
                {true, "", {"connect -3 Sign-on timeout"}},
                {true, SgnReply(7, "wait"), {"connect -3 Sign-on timeout"}},
                {true, SgnReply(0, "no"), {}},
                {true, SgnResult(), {}}};
  for (const auto& [linked, said, end] : stages) {
    Connect();
    mes = TestMes::Last();
    mes->Ready();
    if (linked) FromServer(ConnectResult(false, {}) + said);
    recorder.Take();
    const auto state = client->State();
    std::string packet = Pack(200, "");
    for (unsigned ms = 0; ms < kStageMs; ms += 5000) {
      client->SendPk(packet.data(), 3);
      FromServer(Pack(1, ""));
      EXPECT_EQ(recorder.Take(), Lines{}) << ms;
      time.Advance(5000);
    }
    EXPECT_EQ(recorder.Take(), end);
    if (end.empty()) {
      EXPECT_EQ(client->State(), state);
    }
  }
  Connect();
  time.Advance(kStageMs - 1);
  EXPECT_EQ(recorder.Take(), Lines{});
  time.Advance(1);
  EXPECT_EQ(recorder.Take(), Lines{"connect -2 Connect timeout"});
  EXPECT_FALSE(TestMes::Last()) << "closed";
}

TEST_F(LinkLifeTest, ServerThatFallsSilentTimesOut) {
  SignOn(false, 1, "key");
  for (int period = 0; period < 3; ++period) {
    FromServer(Pack(1, ""));
    time.Advance(kPeriodMs - 1);
    EXPECT_EQ(mes->TakeSent(), "");
    time.Advance(1);
    EXPECT_EQ(mes->TakeSent(), Pack(1, "")) << "never scrambled";
  }
  time.Advance(kPeriodMs);
  EXPECT_EQ(recorder.Take(), Lines{"connect -7 Heartbeat timeout"});
  EXPECT_FALSE(client->IsSessionConnected());
  FromServer(Message(130, "late"));
  EXPECT_EQ(recorder.Take(), Lines{"report late"}) << "the link itself is not closed";
  FromServer(SgnResult());
  EXPECT_TRUE(client->IsSessionConnected());
  recorder.Take();
  time.Advance(kPeriodMs);
  EXPECT_EQ(mes->TakeSent(), Pack(1, "")) << "ready again, with a heartbeat";
  time.Advance(kPeriodMs);
  EXPECT_EQ(recorder.Take(), Lines{"connect -7 Heartbeat timeout"});
}

// Also of sends that share a tick of the system's clock.
TEST_F(LinkLifeTest, HeartbeatComesAPeriodAfterTheLastSend) {
  time.tickMs = 16;
  SignOn();
  std::string packet = Pack(200, "");
  for (int ms = 0; ms < 100; ++ms) {
    client->SendPk(packet.data(), 3);
    mes->TakeSent();
    time.Advance(kPeriodMs - 1);
    EXPECT_EQ(mes->TakeSent(), "") << ms;
    FromServer(Pack(1, ""));
    client->SendPk(packet.data(), 3);
    time.Advance(1);
  }
  mes->TakeSent();
  time.Advance(kPeriodMs + time.tickMs - 1);
  EXPECT_EQ(mes->TakeSent(), Pack(1, ""));
}

TEST_F(LinkLifeTest, SendsTakeAllOrNothing) {
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

TEST_F(LinkLifeTest, PacketBuilders) {
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

}  // namespace
}  // namespace vektest
