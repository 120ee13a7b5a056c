// The number and the text of every way in which a link ends.
#include <algorithm>
#include <functional>

#include "support/SessionFixture.h"
#include "support/SimSession.h"
#include "support/TcpPeer.h"
#include "vekapi/VekLink.h"

namespace vektest {
namespace {

using VekApi::VekLink;

const std::string kZeroes(16, '\0');
const std::string kAlert("\x15\x03\x01\0\x02\x02\x46", 7);
const std::string kHello = std::string("\x16\x03\x03\0\x2A\x02\0\0\x26\x03\x03", 11) + "random bytes";

class ReasonTest : public SessionTest {
 protected:
  void Begin() {
    Connect();
    mes = TestMes::Last();
    mes->Ready();
    recorder.Take();
  }
  // In two blocks, and then, if nothing happened, byte by byte from there.
  void Receive(const std::string& stream, std::size_t cut) {
    Begin();
    if (cut > 0) mes->Deliver(stream.substr(0, cut));
    for (std::size_t at = cut; at < stream.size() && TestMes::Last(); ++at)
      mes->Deliver(stream.substr(at, 1));
  }
};

TEST_F(ReasonTest, OtherProtocolsAreTold) {
  const struct {
    std::string stream;
    int reason;
    const char* text;
    const char* detail;
  } cases[] = {
      {"HTTP/1.1 400 Bad Request\r\nServer: x\r\n", vsr_LooksHttp, "Not this protocol: an HTTP answer",
       "an HTTP answer: HTTP/1"},
      {"<!DOCTYPE HTML>\n<html>", vsr_LooksHttp, "Not this protocol: an HTTP answer",
       "an HTTP answer: <!DOC"},
      {kAlert, vsr_LooksTls, "Not this protocol: TLS", "TLS"},
      {kHello, vsr_LooksTls, "Not this protocol: TLS", "TLS"},
      {"SSH-2.0-OpenSSH_9.2\r\n", vsr_LooksSsh, "Not this protocol: an SSH server's greeting",
       "an SSH server's greeting: SSH-"},
      {"220 ftp.example.com ready\r\n", vsr_LooksMail,
       "Not this protocol: the greeting of a mail or FTP server",
       "the greeting of a mail or FTP server: 220 "},
      {"220-\r\n", vsr_LooksMail, "Not this protocol: the greeting of a mail or FTP server",
       "the greeting of a mail or FTP server: 220-"},
      {"{\"error\":\"bad request\"}", vsr_LooksJson, "Not this protocol: JSON", "JSON: {\"error\""},
      {"{\n  \"error\": \"bad request\"\n}", vsr_LooksJson, "Not this protocol: JSON", "JSON: {"},
      {"+OK POP3 ready\r\n", vsr_LooksText, "Not this protocol: plain text", "plain text: +OK POP3"},
      {"Welcome to the machine", vsr_LooksText, "Not this protocol: plain text", "plain text: Welcome"},
      {kZeroes, vsr_LooksZeroes, "Invalid packet length", "nothing but zeroes"},
      {std::string("\0\0\x12\x04", 4), vsr_BadStream, "Invalid packet length", "Invalid packet length"},
  };
  for (const auto& each : cases) {
    for (std::size_t cut = 0; cut <= each.stream.size(); ++cut) {
      Receive(each.stream, cut);
      EXPECT_EQ(recorder.Take(), Lines{std::string("connect -3 ") + each.text}) << each.stream << cut;
      EXPECT_EQ(VekLink::Reason(*client), each.reason) << each.stream << cut;
      EXPECT_TRUE(VekLink::Detail(*client).starts_with(each.detail)) << VekLink::Detail(*client);
      EXPECT_EQ(CVekApi_ReasonOf(each.text), cvre_BadPacketLength);
    }
  }
}

// Streams of packets with unusual starts, cut at every byte; and starts that are not yet conclusive.
TEST_F(ReasonTest, StreamsOfPacketsAreLeftAlone) {
  const std::string piece = Pack(3, std::string(0x316 - 3, '\x02'));
  const std::string streams[] = {
      ConnectResult(false, {}),
      Pack(1, "") + ConnectResult(true, {}),
      Pack(1, std::string(0x315 - 3, '\x02')) + ConnectResult(false, {}),  // starts like a TLS alert
      piece + ConnectResult(false, {}),                                    // like a TLS handshake
      Pack(77, "hello, this is text") + ConnectResult(false, {}),
      Pack(100, std::string(0xA41 - 3, 'x')) + ConnectResult(false, {}),  // "A\nd"
      Pack(0, "HTTP/1.1 400 Bad Request") + ConnectResult(false, {}),
  };
  for (const std::string& stream : streams) {
    for (std::size_t cut = 0; cut <= std::min<std::size_t>(stream.size(), 40); ++cut) {
      Receive(stream, cut);
      EXPECT_EQ(client->State(), VekApi::vcs_Connected) << cut << " of " << stream.size();
      EXPECT_EQ(VekLink::Reason(*client), 0);
      recorder.Take();
    }
  }
  for (const char* start : {"H", "HTTP/1", "SSH", "220", "{", "\x15\x03", "Hello"}) {
    Receive(start, 0);
    EXPECT_EQ(recorder.Take(), Lines());
    mes->Break("gone");
    EXPECT_EQ(VekLink::Reason(*client), vsr_LinkBroken);
    recorder.Take();
  }
}

TEST_F(ReasonTest, EveryEndHasANumber) {
  const std::string apName(5000, 'n');
  const struct {
    int reason;
    std::function<void()> end;
  } cases[] = {
      {vsr_ConnectFailed, [&] { Connect(), TestMes::Last()->Fail("?"); }},
      {vsr_ConnectTimeout, [&] { Connect(), TestMes::Last()->Fail("it timed out"); }},
      {vsr_ConnectTimeout, [&] { Connect(), time.Advance(45'000); }},
      {vsr_NoMemory, [&] { Begin(), mes->Break("Out of memory"); }},
      {vsr_BadApName, [&] { client->Connect(":TestMes:ok", apName, "1", "", "", ""); }},
      {vsr_UnknownServer, [&] { Begin(), time.Advance(45'000); }},
      {vsr_ConnectRefused,
       [&] {
         Begin(), mes->Deliver(ConnectResult(false, {{"ERROR\n", "no"}}, 1));
       }},
      {vsr_SignOnRefused, [&] { Link(), mes->Deliver(SgnReply(0, "no")); }},
      {vsr_SignOnRefused, [&] { Link(), mes->Deliver(SgnReply(0, "no")), mes->Break("gone"); }},
      {vsr_SignOnTimeout,
       [&] { Link(), time.Advance(20'000), mes->Deliver(Pack(1, "")), time.Advance(25'000); }},
      {vsr_Silent, [&] { SignOn(), time.Advance(30'000), time.Advance(30'000); }},
      {vsr_BadStream, [&] { SignOn(), mes->Deliver(std::string("\x01\0\x01", 3)); }},
      {vsr_Closed, [&] { SignOn(), client->Disconnect(); }},
      {0, [&] { SignOn(); }},
  };
  for (const auto& each : cases) {
    each.end();
    EXPECT_EQ(VekLink::Reason(*client), each.reason) << recorder.Take().back();
    if (each.reason == 0) continue;
    for (const int language : {0, 1}) EXPECT_STRNE(CVekApi_Text(vst_Reason, each.reason, language), "");
  }
}

// Errors reported by the system.
TEST(ReasonLive, EndsOfTcp) {
  Recorder recorder;
  VekApi::VekClient client(recorder);
  std::uint16_t closed = 0;
  {
    const TestSupport::TTcpPeer gone;
    closed = gone.Port();
  }
  vektest::Connect(client, "127.0.0.1:" + std::to_string(closed));
  EXPECT_TRUE(recorder.WaitFor("connect -2 "));
  EXPECT_EQ(VekLink::Reason(client), vsr_NobodyListens);
  EXPECT_TRUE(VekLink::Detail(client).starts_with("127.0.0.1:" + std::to_string(closed) + ": "));
  vektest::Connect(client, "no.such.host.invalid:1");
  EXPECT_TRUE(recorder.WaitFor("connect -2 no.such.host.invalid:1: "));
  TestSupport::TTcpPeer peer;
  vektest::Connect(client, Setting(peer));
  peer.Accept();
  peer.Read(20);
  peer.CloseSending();
  EXPECT_TRUE(recorder.WaitFor("connect -3 "));
  EXPECT_EQ(VekLink::Reason(client), vsr_ClosedByPeer);
}

}  // namespace
}  // namespace vektest
