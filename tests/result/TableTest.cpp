#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "result/packets.h"

namespace {

using results::Bytes;
using results::Describe;
using VekApi::VekProperties;
using VekApi::VekTable;

VekTable TableOf(const char* fields) {
  VekTable table{VekProperties("T")};
  table.Fields().SetFields(Bytes(fields));
  return table;
}

TEST(Table, ARecordKeepsTheColumnsOfItsTime) {
  VekTable table{VekProperties("T")};
  table.AddRecord(Bytes("none|yet"));
  for (const char* fields : {"A|B", "A|B|C"}) {
    table.Fields().SetFields(Bytes(fields));
    table.AddRecord(Bytes("1|2|3"));
  }
  table.Fields().Clear();
  table.AddRecord("4");
  EXPECT_EQ(Describe(table), "[T]//1,2|3/1,2,3/");
}

TEST(Table, ValuesStayWherePointersSawThem) {
  VekTable table = TableOf("A|B");
  std::vector<const char*> seen;
  for (int i = 0; i < 5000; ++i) {
    const std::string line = std::to_string(i) + '\x01' + std::string(static_cast<std::size_t>(i % 700), 'x');
    table.AddRecord(line);
    seen.push_back(table.RecordField(i, 0));
  }
  table.AddRecord(std::string(3 << 20, 'y'));  // a line larger than the records' blocks
  for (int i = 0; i < 5000; ++i) {
    ASSERT_EQ(table.RecordField(i, 0), seen[static_cast<std::size_t>(i)]);
    ASSERT_EQ(seen[static_cast<std::size_t>(i)], std::to_string(i));
    ASSERT_EQ(std::string(table.RecordField(i, 1)).size(), static_cast<std::size_t>(i % 700));
  }
  EXPECT_EQ(std::string(table.RecordField(5000, 0)).size(), std::size_t{3} << 20);
}

TEST(Table, CopiesAreIndependentAndMovesLeaveNothing) {
  VekTable original = TableOf("A|B");
  original.AddRecord(Bytes("1|2"));
  original.Fields().Clear();
  original.AddRecord("bare");
  original.Fields().SetFields("C");
  original.AddRecord("3");
  VekTable copy = original;
  copy.AddRecord("4");
  EXPECT_EQ(original.RecordsCount(), 3);
  original = VekTable{VekProperties("gone")};
  EXPECT_EQ(original.RecordsCount(), 0);
  EXPECT_EQ(Describe(copy), "[T](C)/1,2//3/4");

  const VekTable& self = copy;
  copy = self;
  const VekTable moved = std::move(copy);
  EXPECT_STREQ(moved.RecordField(0, 1), "2");
  EXPECT_EQ(copy.RecordsCount(), 0);  // NOLINT: promised
  copy.AddRecord("again");
  EXPECT_EQ(copy.RecordsCount(), 1);
}

TEST(Table, MarketFlagReadsCNumbersOf32Bits) {
  const std::vector<std::pair<std::string, unsigned>> cases = {
      {"T", 0},
      {"T;mkt=3", 3},
      {"T;mkt=0x10", 16},
      {"T;mkt=010", 8},
      {"T;mkt=abc", 0},
      {"T;mkt=", 0},
      {"T;mkt= \t7 ", 7},
      {"T;mkt=12x", 12},
      {"T;mkt=+5", 5},
      {"T;mkt=-2", 0xFFFFFFFEu},
      {"T;mkt=4294967295", 0xFFFFFFFFu},
      {"T;mkt=4294967296", 0xFFFFFFFFu},
      {"T;mkt=-4294967296", 0xFFFFFFFFu},
      {"T;mkt=99999999999999999999", 0xFFFFFFFFu},
      {"T;mkt=-99999999999999999999", 0xFFFFFFFFu},
  };
  for (const auto& [text, flag] : cases)
    EXPECT_EQ(static_cast<unsigned>(VekTable{VekProperties(Bytes(text))}.MktFlag()), flag) << text;
}

}  // namespace
