// A session of the library, observed through the proxy, from captures and from a recording.
#include <gtest/gtest.h>

#include <asio.hpp>

#include "Line.h"
#include "vekdump/Chart.h"
#include "vekdump/Stats.h"

namespace VekDump {
namespace {

using VekSim::ByteOrder;
using VekSim::SimConfig;

struct Kind {
  unsigned number;
  ByteOrder order;
  int mode;
  const char* key;
};

class VekdumpLive : public testing::TestWithParam<Kind> {
 protected:
  static SimConfig Config() {
    SimConfig config;
    config.order = GetParam().order;
    config.mode = GetParam().mode;
    config.key = GetParam().key;
    config.signOnReply = 7;
    return config;
  }
};

std::size_t CountOf(const std::vector<nlohmann::ordered_json>& objects, const std::string& name) {
  return static_cast<std::size_t>(
      std::count_if(objects.begin(), objects.end(),
                    [&](const nlohmann::ordered_json& object) { return object.value("name", "") == name; }));
}

void ExpectNoPassword(const Views& views) {
  for (const std::string& view : {views.text.str(), views.json.str(), views.recording.str()}) {
    EXPECT_EQ(view.find("secret"), std::string::npos);
    EXPECT_EQ(view.find("736563726574"), std::string::npos);
    EXPECT_EQ(view.find("73 65 63 72 65 74"), std::string::npos);
    EXPECT_NE(view.find("********"), std::string::npos);
  }
}

TEST_P(VekdumpLive, ShowsEveryPacketAndNoPassword) {
  Views views;
  RunSession(Config(), views);
  const auto objects = Objects(views.json.str());
  for (const char* const twice :
       {"connect request", "connect result", "sign-on request", "sign-on reply", "sign-on result"})
    EXPECT_EQ(CountOf(objects, twice), 2U) << twice;
  EXPECT_EQ(CountOf(objects, "password change"), 1U);
  EXPECT_EQ(CountOf(objects, "password change result"), 1U);
  std::size_t acknowledged = 0, sent = 0;
  for (const auto& object : objects) {
    EXPECT_FALSE(object.value("kind", "") == "note" || object.value("scrambled", false)) << object;
    const std::string name = object.value("name", "");
    if (name == "request batch") sent += object["fields"]["requests"].get<std::size_t>();
    if (name == "acknowledgement") acknowledged += object["fields"]["requests"].get<std::size_t>();
    if (name == "task result" && object["fields"]["work id"] == "W1") {
      EXPECT_EQ(object["tables"][0]["rows"][0][1], "臺股期貨");
      EXPECT_EQ(object["tables"][0]["columns"][0], "Prod");
    }
    if (object.value("code", 0) == 150) {
      EXPECT_EQ(object["pieces"], 5);
      EXPECT_EQ(object["messageBytes"], object["text"].get<std::string>().size());
    }
  }
  EXPECT_EQ(sent, 1U + 3U * vektest::WholeSession::kRequestRate.count);
  EXPECT_GT(acknowledged, 0U);  // the last ones may still have been in flight
  EXPECT_LE(acknowledged, sent);
  EXPECT_EQ(objects.front()["kind"], "link");
  ExpectNoPassword(views);
}

TEST_P(VekdumpLive, CapturesAndRecordingsShowTheSame) {
  Views views;
  const auto parts = RunSession(Config(), views);
  const auto live = Plain(views.json.str());
  EXPECT_EQ(Difference(PlainOf(views.recording.str()), live), "");
  unsigned turn = GetParam().number;
  for (const auto layer : {LinkLayer::Null, LinkLayer::Ethernet, LinkLayer::Vlan, LinkLayer::Raw,
                           LinkLayer::Cooked, LinkLayer::Cooked2}) {
    for (const bool other : {false, true}) {
      if (turn++ % 3 != 0) continue;  // each kind of session takes a third
      Capture capture(layer, other, other);
      Written written(capture, other ? 7 : 1460);
      for (const Part& part : parts) written.Add(part);
      EXPECT_EQ(Difference(PlainOf(capture.bytes), live), "") << static_cast<unsigned>(layer) << other;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, VekdumpLive,
                         testing::Values(Kind{0, ByteOrder::Little, 0, ""},
                                         Kind{1, ByteOrder::Big, 1, "k\xFFz"},
                                         Kind{2, ByteOrder::Little, 0, "server only"}));

// What is shown in addition to the session's own packets.
TEST(VekdumpLine, PassesOnWhateverIsSaidAndTellsHowItEnds) {
  Views views;
  VekSim::SimConfig config;
  VekSim::SimServer server(config);
  {
    const auto outputs = views.Outputs();
    Line line(*outputs, "127.0.0.1:" + std::to_string(server.Port()));
    asio::io_context io;
    const auto port =
        static_cast<std::uint16_t>(std::stoi(line.Setting().substr(line.Setting().rfind(':') + 1)));
    asio::ip::tcp::socket one(io), two(io);
    for (auto* socket : {&one, &two}) socket->connect({asio::ip::make_address("127.0.0.1"), port});
    asio::write(one, asio::buffer("GET / HTTP/1.1\r\npassword: secret\r\n" + std::string(2000, 'x')));
    ASSERT_TRUE(
        server.WaitFor([](const VekSim::SimSeen& seen) { return seen.packetCount > 0 || seen.broken > 0; }));
    two.close();
    line.firstEnd.get_future().wait();
  }
  const std::string text = views.text.str();
  EXPECT_NE(text.find("an HTTP request"), std::string::npos) << text;
  EXPECT_NE(text.find("2  === link ended: closed by the client"), std::string::npos) << text;
  EXPECT_NE(text.find("1  === link ended"), std::string::npos) << text;
  EXPECT_EQ(text.find("secret"), std::string::npos);
}

}  // namespace
}  // namespace VekDump
