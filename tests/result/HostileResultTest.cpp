// Invalid packets from a server. Each packet is in memory of exactly its size, so that the sanitizers detect
// every read beyond it.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "result/packets.h"

namespace {

using VekApi::VekTaskResult;

VekTaskResult ParseExactly(const std::string& packet, EVekEndian endian = vek_LittleEndian) {
  const std::unique_ptr<char[]> exact(new char[packet.size()]);
  std::copy(packet.begin(), packet.end(), exact.get());
  VekTaskResult result;
  result.Parse(exact.get(), static_cast<unsigned>(packet.size()), endian);
  return result;
}

std::string HonestText() {
  return results::Bytes(
      "UTF8\n#Orders;mkt=2;DisplayText=\xE5\xA7\x94\xE8\xA8\x97\n@No|Qty;DisplayText=Quantity|Name\n"
      "A1|5|\xE4\xB8\xAD\nA2||\n\nA3|1|x|y\n#Sums\n@Total\n6\n@Other\n7\n");
}

TEST(HostileResult, CutAtEveryByte) {
  for (const std::string& packet : {results::Packet(HonestText()), results::LongPacket(HonestText())}) {
    const std::string whole = ParseExactly(packet).OrigResult();
    const std::size_t workIdEnd = packet.find("Work") + 4;
    const std::size_t textAt = packet.find("UTF8\n") + 5;
    for (std::size_t length = 0; length < packet.size(); ++length) {
      const VekTaskResult result = ParseExactly(packet.substr(0, length));
      ASSERT_EQ(result.WorkID(), length > workIdEnd ? "Work" : "") << length;
      ASSERT_TRUE(length >= textAt || result.TableCount() == 0) << length;
      // A truncated character becomes "?".
      const std::string& text = result.OrigResult();
      const std::size_t same = text.size() - (!text.empty() && text.back() == '?');
      ASSERT_EQ(text.substr(0, same), whole.substr(0, same)) << length;
    }
  }
}

TEST(HostileResult, EveryLengthByteOverwritten) {
  for (const std::string& packet : {results::Packet(HonestText()), results::LongPacket(HonestText())}) {
    const std::size_t textAt = packet.find("UTF8\n");
    for (std::size_t at = 0; at < textAt; ++at) {
      for (int byte = 0; byte < 256; ++byte) {
        std::string wrong = packet;
        wrong[at] = static_cast<char>(byte);
        for (const EVekEndian endian : {vek_LittleEndian, vek_BigEndian}) {
          const VekTaskResult result = ParseExactly(wrong, endian);
          ASSERT_LE(result.OrigResult().size(), packet.size());
        }
      }
    }
  }
}

}  // namespace
