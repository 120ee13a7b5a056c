#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/os/CodePage.h"
#include "result/ResultText.h"
#include "result/packets.h"

namespace {

using results::Bytes;
using results::Describe;
using results::Parse;
using results::ResultOf;
using VekApi::VekTable;
using VekApi::VekTaskResult;

struct TTableCase {
  const char* what;
  const char* text;
  const char* tables;
};

TEST(TaskResult, ReadsTablesFromText) {
  constexpr TTableCase kCases[] = {
      {"one table", "#Orders\n@No|Qty\nA1|5\n", "[Orders](No)(Qty)/A1,5"},
      {"last line without an end", "#T\n@A|B\n1|2\n3|4", "[T](A)(B)/1,2/3,4"},
      {"attributes", "#T;mkt=2\n@A;k=v\n", "[T|mkt=2](A|k=v)"},
      {"two fields lines", "#T\n@A\n@B\n1\n", "[T](A)[](B)/1"},
      {"three fields lines", "#T\n@A\n@B\n1\n@C|D\n2|3\n", "[T](A)[](C)(D)/1/2,3"},
      {"columns of the unnamed table replaced", "#\n@A\n@B\n1\n", "[](B)/1"},
      {"fields without a header", "@A\n1\n", "[](A)/1"},
      {"records before all tables", "lost\n\n#T\n@A\n1\n", "[T](A)/1"},
      {"records before the fields", "#T\nbare\n\n@A\n1\n", "[T](A)///1"},
      {"a repeated header", "#T;k=1\n@A\n1\n#U\n@B\n2\n#T;k=2\n3\n", "[T|k=1](A)/1/3[U](B)/2"},
      {"fields behind a repeated header", "#T\n@A\n#T\n@B\n1\n", "[T](A)[](B)/1"},
      {"a name that another begins with", "#Tab\n@A\n#Ta\n@B\n#Tab;k=1\n1\n", "[Tab](A)/1[Ta](B)"},
      {"repeated columns", "#T\n@A|B;k=1|A;k=2|\n1|2|3|4|5\n", "[T](A)(B|k=1)()/1,2,3|4|5"},
      {"empty records", "#T\n@A|B\n\n\nx\n\n", "[T](A)(B)/,/,/x,/,"},
      {"too many values", "#T\n@A|B\n1|2|3|\n4|5\n", "[T](A)(B)/1,2|3|/4,5"},
      {"one column keeps separators", "#T\n@A\n||\n1|\n", "[T](A)/||/1|"},
      {"ends at a NUL in a record", "#T\n@A\n1~2\n3\n", "[T](A)/1"},
      {"ends at a NUL behind a line", "#T\n@A\n1\n~3\n", "[T](A)/1"},
      {"ends at a NUL in a header", "#T\n#U~V\n@A\n", "[T][U]"},
      {"ends at a NUL in the fields", "#T\n@A|B~C\n1\n", "[T](A)(B)"},
      {"ends at a NUL in a bare record", "#T\nx~y\nz\n", "[T]/"},
      {"carriage returns are bytes", "#T\r\n@A\r\n1\r\n", "[T\r](A\r)/1\r"},
      {"an empty fields line", "#T\n@\n1|2\n", "[T]()/1|2"},
      {"no line end", "#T", ""},
      {"a NUL before the first line end", "#T~U\n", ""},
  };
  VekTaskResult reused;
  for (int round = 0; round < 2; ++round) {
    for (const TTableCase& c : kCases) {
      const std::string text = Bytes(c.text);
      EXPECT_EQ(Describe(ResultOf(text)), c.tables) << c.what;
      Parse(reused, results::Packet(text));
      EXPECT_EQ(Describe(reused), c.tables) << c.what << ", with what earlier ones left";
    }
  }
}

TEST(TaskResult, KeepsTheText) {
  const std::string text = Bytes("#T\n@A|B\n1|2\n~behind\n");
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
      {Bytes("UTF8\na~b"), Bytes("a~b")},
  };
  for (const auto& [text, orig] : cases) EXPECT_EQ(ResultOf(text).OrigResult(), orig) << text;
  EXPECT_NE(ResultOf("UTF8\n" + chinese).Table("\xA4\xA4"), nullptr);
}

// Long texts are converted in pieces: the characters at the seams must come out as in one piece, and
// cancellation is checked after each.
TEST(TaskResult, LongTextsConvertAsInOnePiece) {
  const std::atomic<bool> over{true};
  for (const std::string pattern :
       {"\xE4\xB8\xAD", "\xE4\xB8", "\xE4", "\xE4\xB8x", "\x80", "\xF0\x9F\x98\x80", "\xF0\x80\x80",
        "\xC3\xA9", "\xFF", "\xF1\xE4\xB8", "\xF1", "\xE0\x80\x80z", "\xE4\n\xF1\x80\x80\n"}) {
    std::string utf8 = "\x02T\n";
    while (utf8.size() < 200000) utf8 += pattern;
    std::string expected;
    ASSERT_TRUE(Dova::Os::Utf8ToCodePage950(utf8, expected));
    ASSERT_TRUE(ResultOf("UTF8\n" + utf8).OrigResult() == expected) << pattern;
    std::string text;
    VekApi::TWork work(over);
    EXPECT_FALSE(VekApi::ConvertText(utf8, text, work));
    EXPECT_LT(text.size(), VekApi::TWork::kPiece + 4) << pattern;
  }
}

TEST(TaskResult, LengthsFollowTheByteOrder) {
  const std::string text = Bytes("#T\n@A\n") + std::string(0x0102, 'x') + "\n";
  for (const EVekEndian endian : {vek_LittleEndian, vek_BigEndian, static_cast<EVekEndian>(7)}) {
    for (const std::string& packet : {results::Packet(text, endian), results::LongPacket(text, endian)}) {
      VekTaskResult result;
      Parse(result, packet + "behind\n", endian);
      EXPECT_EQ(result.OrigResult(), text);
      EXPECT_EQ(result.WorkID(), "Work");
    }
  }
}

// The first line end is searched in the whole packet, not only in the announced text.
TEST(TaskResult, TextAnnouncedTooShort) {
  VekTaskResult result;
  Parse(result, results::Head("") + Bytes("#~#T\n@A\n"));
  EXPECT_EQ(Describe(result), "[T]");
  EXPECT_EQ(result.OrigResult(), "\x02T");
  Parse(result, results::Head("") + Bytes("#~UTF8\n#T\n"));
  EXPECT_EQ(result.OrigResult(), "");
}

TEST(TaskResult, CopiesOutliveTheOriginal) {
  VekTaskResult copy;
  VekTable table{VekApi::VekProperties("")};
  const std::string before = "[T](A)(B)/1,2/3,[U]/";
  VekTaskResult original = ResultOf(Bytes("#T\n@A|B\n1|2\n#U\nbare\n#T\n3\n"));
  table = *original.Table("T");
  copy = original;
  Parse(original, results::Packet(Bytes("#T\n@A|B\nother\n")));
  EXPECT_EQ(Describe(original), "[T](A)(B)/other,");
  EXPECT_EQ(Describe(copy), before);
  EXPECT_EQ(copy.Table("U"), copy.Table(1));
  table.AddRecord(
      "4\x01"
      "5");
  EXPECT_EQ(Describe(table), "[T](A)(B)/1,2/3,/4,5");

  const VekTaskResult moved = std::move(copy);
  EXPECT_EQ(Describe(moved), before);
  EXPECT_EQ(copy.TableCount(), 0u);  // NOLINT: promised
  Parse(copy, results::Packet("\x02V\n"));
  EXPECT_EQ(Describe(copy), "[V]");
}

// Tables are created on first access, by any thread.
TEST(TaskResult, ManyThreadsRead) {
  const std::string text = Bytes("#T;mkt=2\n@A;k=v|B\n1|2\n3\n#U\n@C\n4\n");
  for (int round = 0; round < 20; ++round) {
    const VekTaskResult result = ResultOf(text);
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i) {
      readers.emplace_back([&] {
        EXPECT_EQ(Describe(result), "[T|mkt=2](A|k=v)(B)/1,2/3,[U](C)/4");
        EXPECT_EQ(Describe(VekTaskResult(result)), "[T|mkt=2](A|k=v)(B)/1,2/3,[U](C)/4");
        EXPECT_STREQ(result.Table("T")->RecordField(0, result.Table("T")->Fields().Field("B")), "2");
      });
    }
    for (std::thread& reader : readers) reader.join();
  }
}

}  // namespace
