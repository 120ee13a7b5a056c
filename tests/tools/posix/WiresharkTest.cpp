// The dissector, in tshark, on captures of whole sessions.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "tools/Line.h"

namespace VekDump {
namespace {

std::string OutputOf(const std::string& command) {
  std::string output;
  std::FILE* const pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return output;
  char block[4096];
  for (std::size_t count; (count = std::fread(block, 1, sizeof block, pipe)) != 0;)
    output.append(block, count);
  pclose(pipe);
  return output;
}

// "from|name|work id|pieces" of each packet, according to the decoder.
std::string Expected(const std::string& jsonLines) {
  std::string expected;
  for (const auto& json : Objects(jsonLines)) {
    if (json["kind"] != "packet") continue;
    std::string name = json["name"];
    if (name == "sign-on result") name = "task result";
    expected += json["from"].get<std::string>() + "|" + name + "\n";
  }
  return expected;
}

class Wireshark : public testing::TestWithParam<VekSim::SimConfig> {};

TEST_P(Wireshark, DissectsAWholeSession) {
  if (OutputOf("tshark --version 2>/dev/null").empty()) GTEST_SKIP() << "tshark is not installed";
  Views views;
  const auto parts = RunSession(GetParam(), views);
  Capture capture;
  Written written(capture, 1000);
  for (const Part& part : parts) written.Add(part);
  const std::string file =
      testing::TempDir() + "vekdump_wireshark" + std::to_string(GetParam().mode) + ".pcap";
  std::ofstream(file, std::ios::binary) << capture.bytes;
  const std::string tshark = "tshark -2 -X lua_script:" VEKDUMP_LUA " -r " + file + " ";

  const std::string fields =
      OutputOf(tshark + "-Y vek -T fields -e vek.from -e vek.name -E separator='|' 2>/dev/null");
  // Several packets of a frame are on one line.
  std::string shown;
  std::istringstream in(fields);
  for (std::string line; std::getline(in, line);) {
    std::istringstream sides(line.substr(0, line.find('|'))), names(line.substr(line.find('|') + 1));
    for (std::string side, name; std::getline(sides, side, ',') && std::getline(names, name, ',');)
      shown += side + "|" + name + "\n";
  }
  EXPECT_EQ(shown, Expected(views.json.str()));

  const std::string details = OutputOf(tshark + "-V -O vek 2>&1");
  EXPECT_NE(details.find("Server: VEKSIM.1.0.0.0"), std::string::npos);
  EXPECT_NE(details.find("Identity: trader/9800001"), std::string::npos);
  EXPECT_NE(details.find("Password: ********"), std::string::npos);
  EXPECT_NE(details.find("Work id: W1"), std::string::npos);
  EXPECT_NE(details.find("Text: W2 new / prod=TXF side=B qty=2 price=MKT"), std::string::npos);
  EXPECT_NE(details.find("Pieces: 5"), std::string::npos);
  EXPECT_EQ(details.find("secret"), std::string::npos);
  EXPECT_EQ(details.find("Lua Error"), std::string::npos) << details;
  EXPECT_EQ(details.find("Malformed"), std::string::npos) << details;
  if (!HasFailure()) std::remove(file.c_str());
}

VekSim::SimConfig Config(VekSim::ByteOrder order, int mode, const char* key) {
  VekSim::SimConfig config;
  config.order = order;
  config.mode = mode;
  config.key = key;
  return config;
}

INSTANTIATE_TEST_SUITE_P(Kinds, Wireshark,
                         testing::Values(Config(VekSim::ByteOrder::Little, 0, ""),
                                         Config(VekSim::ByteOrder::Big, 1, "k\xFFz")));

}  // namespace
}  // namespace VekDump
