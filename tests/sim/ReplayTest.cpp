#include "sim/SimReplay.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "RawClient.h"

namespace VekSim {
namespace {

using namespace std::string_literals;

std::string Record(char kind, bool fromServer, char link, const std::string& content) {
  std::string head(32, '\0');
  head[0] = static_cast<char>(content.size());
  head[4] = kind;
  head[5] = fromServer ? 1 : 0;
  head[8] = link;
  return head + content;
}

// A handshake, a query and its answer; the key is "k" in both directions.
std::string Day() {
  const ConnectAnswer answer{0, "GW", {}, {EncItem(1, "k")}};
  return "VEKREC1\n" + Record(1, false, 7, "from to") + Record(0, false, 7, "\4\0\0x"s) +
         Record(0, true, 7, ConnectResult(answer, ByteOrder::Little)) + Record(0, false, 7, "\3\0\1"s) +
         Record(0, false, 7, "\4\0\x80q"s) + Record(0, true, 7, "\5\0\x80hi"s);
}

TEST(Replay, TakesARecordingCutAnywhereAndRefusesAnythingElse) {
  const std::string day = Day();
  std::size_t whole = 0, packets = 0;
  for (std::size_t size = 8; size <= day.size(); ++size) {
    const SimRecording cut = ReadRecording(day.substr(0, size), "day");
    const std::size_t count = cut.links.empty() ? 0 : cut.links.front().size();
    ASSERT_GE(count, packets);
    packets = count;
    whole += cut.cut ? 0 : 1;
  }
  EXPECT_EQ(packets, 5u);
  EXPECT_EQ(whole, 7u) << "at the ends of the six records, and before them";
  EXPECT_TRUE(ReadRecording(day + "x", "day").cut);
  for (const auto& [at, byte] :
       {std::pair{0, 'x'}, {10, '\1'}, {12, '\5'}, {13, '\2'}, {14, '\3'}, {15, '\1'}}) {
    std::string bad = day;
    bad[static_cast<std::size_t>(at)] = byte;
    EXPECT_THROW(ReadRecording(bad, "day"), std::runtime_error) << at;
  }
  EXPECT_THROW(ReadRecording("VEKREC1\n" + Record(0, true, 1, "\5\0\x80"s), "day"), std::runtime_error);
}

// All that a client receives before the server ends the link.
std::vector<std::string> Received(std::uint16_t port) {
  RawClient client(port);
  client.Enter();
  client.Request(Code::kTask, "q ticks\nrows=200");
  client.Request(Code::kAck, "w new\nprod=TXF side=B qty=2 price=18000");
  std::vector<std::string> packets{client.Next()};
  while (!packets.back().empty()) packets.push_back(client.Next());
  return packets;
}

TEST(Replay, RepeatsADayThatTheServerRecorded) {
  SimConfig config;
  config.key = "k";
  config.recordFile = testing::TempDir() + "veksim_day.vekrec";
  config.day = ReadDay(R"({"rules": [{"on": "new", "do":
      [{"fill": 1, "after": 1}, {"fill": "rest", "after": 2}, {"garbage": 9, "after": 3}, {"close": "end", "after": 4}]}]})",
                       "day");
  std::vector<std::string> played;
  {
    SimServer server(config);
    played = Received(server.Port());
    EXPECT_TRUE(server.WaitFor([](const SimSeen& seen) { return seen.closed == 1; }));
  }
  std::ifstream file(config.recordFile, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  file.close();
  std::filesystem::remove(config.recordFile);
  EXPECT_EQ(bytes.find("secret"), std::string::npos);
  EXPECT_NE(bytes.find("trader/********"), std::string::npos);
  EXPECT_NE(bytes.find("9 bytes that are no packet"), std::string::npos);
  const SimReplay replay(ReadRecording(bytes, "day"), {"127.0.0.1", 0, true, {}});
  EXPECT_EQ(Received(replay.Port()), played);
}

}  // namespace
}  // namespace VekSim
