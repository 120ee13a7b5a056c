#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "result/packets.h"

namespace {

using results::Describe;
using results::Parse;
using results::ResultOf;
using VekApi::VekTable;
using VekApi::VekTaskResult;

struct TCase {
  const char* what;
  std::string text;
  std::string tables;
};

TEST(TaskResult, ReadsTablesFromText) {
  const std::vector<TCase> cases = {
      {"one table",
       "\x02Orders\n\x03No\x01Qty\nA1\x01"
       "5\n",
       "[Orders](No)(Qty)/A1|5"},
      {"last line without an end",
       "\x02T\n\x03"
       "A\x01"
       "B\n1\x01"
       "2\n3\x01"
       "4",
       "[T](A)(B)/1|2/3|4"},
      {"attributes",
       "\x02T\x04mkt=2\n\x03"
       "A\x04k=v\n",
       "[T\x01mkt=2](A\x01k=v)"},
      {"two fields lines",
       "\x02T\n\x03"
       "A\n\x03"
       "B\n1\n",
       "[T](A)[](B)/1"},
      {"three fields lines",
       "\x02T\n\x03"
       "A\n\x03"
       "B\n1\n\x03"
       "C\x01"
       "D\n2\x01"
       "3\n",
       "[T](A)[](C)(D)/1/2|3"},
      {"fields without a header",
       "\x03"
       "A\n1\n",
       "[](A)/1"},
      {"records before all tables",
       "lost\n\n\x02T\n\x03"
       "A\n1\n",
       "[T](A)/1"},
      {"records before the fields",
       "\x02T\nbare\n\n\x03"
       "A\n1\n",
       "[T](A)///1"},
      {"a repeated header",
       "\x02T\x04k=1\n\x03"
       "A\n1\n\x02U\n\x03"
       "B\n2\n\x02T\x04k=2\n3\n",
       "[T\x01k=1](A)/1/3[U](B)/2"},
      {"fields behind a repeated header",
       "\x02T\n\x03"
       "A\n\x02T\n\x03"
       "B\n1\n",
       "[T](A)[](B)/1"},
      {"empty records",
       "\x02T\n\x03"
       "A\x01"
       "B\n\n\nx\n\n",
       "[T](A)(B)/|/|/x|/|"},
      {"too many values",
       "\x02T\n\x03"
       "A\x01"
       "B\n1\x01"
       "2\x01"
       "3\x01\n4\x01"
       "5\n",
       "[T](A)(B)/1|2\x01"
       "3\x01/4|5"},
      {"one column keeps separators",
       "\x02T\n\x03"
       "A\n\x01\x01\n1\x01\n",
       "[T](A)/\x01\x01/1\x01"},
      {"ends at a NUL in a record",
       std::string("\x02T\n\x03"
                   "A\n1\0002\n3\n",
                   12),
       "[T](A)/1"},
      {"ends at a NUL behind a line",
       std::string("\x02T\n\x03"
                   "A\n1\n\0"
                   "3\n",
                   11),
       "[T](A)/1"},
      {"ends at a NUL in a header",
       std::string("\x02T\n\x02U\0V\n\x03"
                   "A\n",
                   11),
       "[T][U]"},
      {"ends at a NUL in a bare record", std::string("\x02T\nx\0y\nz\n", 9), "[T]/"},
      {"carriage returns are bytes",
       "\x02T\r\n\x03"
       "A\r\n1\r\n",
       "[T\r](A\r)/1\r"},
      {"an empty fields line",
       "\x02T\n\x03\n1\x01"
       "2\n",
       "[T]()/1\x01"
       "2"},
      {"no line end", "\x02T", ""},
      {"a NUL before the first line end", std::string("\x02T\0U\n", 5), ""},
  };
  for (const TCase& c : cases) EXPECT_EQ(Describe(ResultOf(c.text)), c.tables) << c.what;
}

TEST(TaskResult, KeepsTheText) {
  const std::string text(
      "\x02T\n\x03"
      "A\x01"
      "B\n1\x01"
      "2\n\0behind\n",
      19);
  EXPECT_EQ(ResultOf(text).OrigResult(), text);
  EXPECT_EQ(ResultOf("no line end").OrigResult(), "");
  EXPECT_EQ(ResultOf("no line end").WorkID(), "Work");
}

TEST(TaskResult, EncodingLine) {
  const std::string chinese = "\x02\xE4\xB8\xAD\n";
  const std::string big5 = "\x02\xA4\xA4\n";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"UTF8\n" + chinese, big5},
      {"utf-8\n" + chinese, big5},
      {"uTf8\n" + chinese, big5},
      {"ABC8\n" + chinese, chinese},
      {"ABC-8\n" + chinese, chinese},
      {"UTF9\n" + chinese, "UTF9\n" + chinese},
      {"UTF_8\n" + chinese, "UTF_8\n" + chinese},
      {"UTF-88\n" + chinese, "UTF-88\n" + chinese},
      {"TF8\n" + chinese, "TF8\n" + chinese},
      {"UTF8\n", ""},
      {"UTF-8\nno line end", "no line end"},
      {std::string("UTF8\na\0b", 8), std::string("a\0b", 3)},
  };
  for (const auto& [text, orig] : cases) EXPECT_EQ(ResultOf(text).OrigResult(), orig) << text;
  EXPECT_NE(ResultOf("UTF8\n" + chinese).Table("\xA4\xA4"), nullptr);
}

TEST(TaskResult, LengthsFollowTheByteOrder) {
  const std::string text =
      "\x02T\n\x03"
      "A\n" +
      std::string(0x0102, 'x') + "\n";
  for (const EVekEndian endian : {vek_LittleEndian, vek_BigEndian, static_cast<EVekEndian>(7)}) {
    VekTaskResult result;
    Parse(result, results::Packet(text, endian) + "behind\n", endian);
    EXPECT_EQ(result.OrigResult(), text);
    Parse(result, results::LongPacket(text, endian) + "behind\n", endian);
    EXPECT_EQ(result.OrigResult(), text);
    EXPECT_EQ(result.WorkID(), "Work");
  }
}

TEST(TaskResult, ShortPackets) {
  VekTaskResult result = ResultOf("\x02T\n");
  const std::string head = results::Head("Id");
  Parse(result, head.substr(0, 5));
  EXPECT_EQ(result.WorkID() + result.OrigResult(), "");
  EXPECT_EQ(result.TableCount(), 0u);
  EXPECT_EQ(result.Table("T"), nullptr);
  Parse(result, head);  // ends right behind the work id
  EXPECT_EQ(result.WorkID(), "");
  Parse(result, head + '\x03');
  EXPECT_EQ(result.WorkID(), "Id");
  EXPECT_EQ(result.OrigResult(), "");
}

// The first line end is looked for in the packet, not in the announced text alone.
TEST(TaskResult, TextAnnouncedTooShort) {
  VekTaskResult result;
  Parse(result, results::Head("") + std::string("\x02\0", 2) +
                    "\x02T\n\x03"
                    "A\n");
  EXPECT_EQ(Describe(result), "[T]");
  EXPECT_EQ(result.OrigResult(), "\x02T");
  Parse(result, results::Head("") + std::string("\x02\0", 2) + "UTF8\n\x02T\n");
  EXPECT_EQ(result.OrigResult(), "");
}

TEST(TaskResult, LookUpOfTables) {
  const VekTaskResult result = ResultOf(
      "\x02T\n\x03"
      "A\n\x03"
      "B\n");
  EXPECT_EQ(result.Table(2), nullptr);
  EXPECT_EQ(result.Table(0xFFFFFFFF), nullptr);
  EXPECT_EQ(result.Table("t"), nullptr);
  EXPECT_EQ(result.Table(""), result.Table(1));
  EXPECT_EQ(VekTaskResult().Table("T"), nullptr);
}

TEST(TaskResult, ManyTables) {
  std::string text;
  for (int round = 0; round < 2; ++round)
    for (int i = 0; i < 300; ++i)
      text += "\x02T" + std::to_string(i) + "\n" +
              (round ? ""
                     : "\x03"
                       "A\x01"
                       "B\n") +
              std::to_string(round) +
              "\x01"
              "x\n";
  const VekTaskResult result = ResultOf(text);
  ASSERT_EQ(result.TableCount(), 300u);
  for (unsigned i = 0; i < 300; ++i) {
    const std::string name = "T" + std::to_string(i);
    ASSERT_EQ(result.Table(name), result.Table(i));
    ASSERT_EQ(Describe(*result.Table(i)), "[" + name + "](A)(B)/0|x/1|x");
  }
}

TEST(TaskResult, CopiesOutliveTheOriginal) {
  VekTaskResult copy;
  std::string before;
  VekTable table{VekApi::VekProperties("")};
  {
    const VekTaskResult original = ResultOf(
        "\x02T\n\x03"
        "A\x01"
        "B\n1\x01"
        "2\n\x02U\nbare\n\x02T\n3\n");
    before = Describe(original);
    copy = original;
    table = *original.Table("T");
  }
  EXPECT_EQ(Describe(copy), before);
  EXPECT_EQ(copy.Table("U"), copy.Table(1));
  table.AddRecord(
      "4\x01"
      "5");
  EXPECT_EQ(Describe(table), "[T](A)(B)/1|2/3|/4|5");
  EXPECT_EQ(Describe(copy), before);

  const VekTaskResult moved = std::move(copy);
  EXPECT_EQ(Describe(moved), before);
  EXPECT_EQ(copy.TableCount(), 0u);  // NOLINT: promised
  Parse(copy, results::Packet("\x02V\n"));
  EXPECT_EQ(Describe(copy), "[V]");
}

TEST(TaskResult, NothingIsLeftOfEarlierContents) {
  VekTaskResult result = ResultOf(
      "\x02T\n\x03"
      "A\n" +
      std::string(100000, '\n'));
  for (int i = 0; i < 20; ++i) {
    Parse(result, results::Packet("\x02U\n\x03"
                                  "B\x01"
                                  "C\nx\n"));
    ASSERT_EQ(Describe(result), "[U](B)(C)/x|");
    ASSERT_EQ(result.Table("T"), nullptr);
  }
}

TEST(TaskResult, AGiantResultHoldsItsMemoryForAWhileOnly) {
  VekTaskResult result;
  const std::string giant = results::Packet("\x02T\n" + std::string(1 << 20, '\n'));
  Parse(result, giant);
  Parse(result, results::Packet("\x02T\n"));
  EXPECT_GT(result.OrigResult().capacity(), std::size_t{1} << 20);
  for (int i = 0; i < 20; ++i) Parse(result, results::Packet("\x02T\n"));
  EXPECT_LT(result.OrigResult().capacity(), std::size_t{1} << 10);
}

TEST(TaskResult, ManyThreadsRead) {
  const VekTaskResult result = ResultOf(
      "\x02T\x04mkt=2\n\x03"
      "A\x04k=v\x01"
      "B\n1\x01"
      "2\n3\n");
  const std::string expected = Describe(result);
  std::vector<std::thread> readers;
  readers.reserve(4);
  for (int i = 0; i < 4; ++i) {
    readers.emplace_back([&] {
      for (int round = 0; round < 50; ++round) {
        EXPECT_EQ(Describe(result), expected);
        EXPECT_EQ(Describe(VekTaskResult(result)), expected);
        EXPECT_STREQ(result.Table("T")->RecordField(0, result.Table("T")->Fields().Field("B")), "2");
      }
    });
  }
  for (std::thread& reader : readers) reader.join();
}

}  // namespace
