// What a server may send that it should not. Each packet lies in memory of exactly its size, so that the
// sanitizers see every byte that is read beyond it.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>

#include "result/packets.h"

namespace {

using results::Describe;
using VekApi::VekTaskResult;

VekTaskResult ParseExactly(const std::string& packet, EVekEndian endian = vek_LittleEndian) {
  const std::unique_ptr<char[]> exact(new char[packet.size()]);
  std::copy(packet.begin(), packet.end(), exact.get());
  VekTaskResult result;
  result.Parse(exact.get(), static_cast<unsigned>(packet.size()), endian);
  return result;
}

std::string HonestText() {
  return "UTF8\n\x02Orders\x04mkt=2\x04"
         "DisplayText=\xE5\xA7\x94\xE8\xA8\x97\n\x03No\x01Qty\x04"
         "DisplayText=Quantity\x01Name\n"
         "A1\x01"
         "5\x01\xE4\xB8\xAD\nA2\x01\x01\n\nA3\x01"
         "1\x01x\x01y\n\x02Sums\n\x03"
         "Total\n6\n\x03Other\n7\n";
}

TEST(HostilePackets, CutAtEveryByte) {
  for (const std::string& packet : {results::Packet(HonestText()), results::LongPacket(HonestText())}) {
    const std::string whole = ParseExactly(packet).OrigResult();
    const std::size_t workIdEnd = packet.find("Work") + 4;
    const std::size_t textAt = packet.find("UTF8\n") + 5;
    for (std::size_t length = 0; length < packet.size(); ++length) {
      const VekTaskResult result = ParseExactly(packet.substr(0, length));
      ASSERT_EQ(result.WorkID(), length > workIdEnd ? "Work" : "") << length;
      ASSERT_TRUE(length >= textAt || result.TableCount() == 0) << length;
      // A cut within a character leaves "?" of it.
      const std::string& text = result.OrigResult();
      const std::size_t same = text.size() - (!text.empty() && text.back() == '?');
      ASSERT_EQ(text.substr(0, same), whole.substr(0, same)) << length;
    }
  }
}

TEST(HostilePackets, EveryLengthByteOverwritten) {
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

// Texts of all lengths around the blocks that are read at once, with every byte that means something at every
// place.
TEST(HostilePackets, MeaningfulBytesAtEveryPlace) {
  for (const std::size_t length : {1u, 62u, 63u, 64u, 65u, 127u, 128u, 130u}) {
    for (std::size_t at = 0; at < length; ++at) {
      for (const char mark : {'\0', '\x01', '\n', '\x02', '\x03', '\x04'}) {
        std::string record(length, 'r');
        record[at] = mark;
        const VekTaskResult result =
            ParseExactly(results::Packet("\x03"
                                         "A\x01"
                                         "B\n" +
                                         record));
        const std::string end = record.substr(at + 1);
        std::string expected = "[](A)(B)";
        const std::string front = record.substr(0, at);
        if (mark == '\x01') {
          expected += "/" + front + "|" + end;
        } else if (mark == '\n') {
          expected += "/" + front + "|" + (end.empty() ? "" : "/" + end + "|");
        } else if (mark == '\0') {
          expected += front.empty() ? "" : "/" + front + "|";
        } else if (at > 0 || mark == '\x04') {
          expected += "/" + record + "|";
        } else if (mark == '\x03') {
          expected = "[](" + end + ")";
        } else {
          expected += end.empty() ? "" : "[" + end + "]";
        }
        ASSERT_EQ(Describe(result), expected) << length << " bytes, byte " << int{mark} << " at " << at;
      }
    }
  }
}

// The same text by the slow road: line by line, through AddRecord.
std::string DescribeByLines(const std::string& text, const std::string& fields) {
  VekApi::VekTable table{VekApi::VekProperties("")};
  table.Fields().SetFields(fields);
  for (std::size_t at = 0, end = 0; at < text.size(); at = end + 1) {
    end = std::min(text.find('\n', at), text.size());
    table.AddRecord(text.substr(at, end - at));
  }
  return Describe(table);
}

TEST(HostilePackets, RandomRecordsReadAsLineByLine) {
  std::mt19937 random(20261121);  // NOLINT: the same texts each time
  for (int round = 0; round < 2000; ++round) {
    std::string text;
    const unsigned density = random() % 30 + 3;
    for (std::size_t length = random() % 500; text.size() < length;) {
      const unsigned roll = random() % density;
      text += roll == 0 ? '\n' : roll < 3 ? '\x01' : static_cast<char>('a' + roll % 26);
    }
    std::string fields = "C0";
    for (unsigned i = 1, count = random() % 12 + 1; i < count; ++i)
      fields +=
          "\x01"
          "C" +
          std::to_string(i);
    ASSERT_EQ(Describe(ParseExactly(results::Packet("\x03" + fields + "\n" + text))),
              DescribeByLines(text, fields));
  }
}

TEST(HostilePackets, RandomBytes) {
  std::mt19937 random(7);  // NOLINT: the same bytes each time
  constexpr char kBytes[] = {0, 1, 2, 3, 4, '\n', '=', 'a', '8', '-', 'U', 'T', 'F', '\xFF', '\xE4'};
  for (int round = 0; round < 20000; ++round) {
    std::string bytes;
    for (std::size_t length = random() % 200; bytes.size() < length;)
      bytes += kBytes[random() % sizeof kBytes];
    const VekTaskResult direct = ParseExactly(bytes);
    const VekTaskResult result = ParseExactly(results::Packet(bytes));
    ASSERT_EQ(Describe(VekTaskResult(result)), Describe(result));
    ASSERT_LE(direct.OrigResult().size(), bytes.size());
  }
}

}  // namespace
