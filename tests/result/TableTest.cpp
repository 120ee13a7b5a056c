#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "vekapi/VekTable.h"

namespace {

using VekApi::VekProperties;
using VekApi::VekTable;

VekTable TableOf(const std::string& fields) {
  VekTable table{VekProperties("T")};
  table.Fields().SetFields(fields);
  return table;
}

TEST(Table, CutsLinesIntoColumns) {
  VekTable table = TableOf("P\x01Q\x01R");
  table.AddRecord("x\x01y\x01z");
  table.AddRecord("x");
  table.AddRecord("");
  table.AddRecord(
      "a\x01"
      "b\x01"
      "c\x01"
      "d\x01");
  const std::vector<std::vector<std::string>> expected = {{"x", "y", "z"},
                                                          {"x", "", ""},
                                                          {"", "", ""},
                                                          {"a", "b",
                                                           "c\x01"
                                                           "d\x01"}};
  ASSERT_EQ(table.RecordsCount(), 4);
  for (int row = 0; row < 4; ++row)
    for (int column = 0; column < 3; ++column)
      EXPECT_EQ(table.RecordField(row, column),
                expected[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)])
          << row << ", " << column;
}

TEST(Table, NullWhereThereIsNoValue) {
  VekTable table = TableOf(
      "A\x01"
      "B");
  constexpr int kLeast = std::numeric_limits<int>::min();
  EXPECT_EQ(table.RecordField(0, 0), nullptr);
  table.AddRecord("x\x01y");
  for (const int wrong : {-1, kLeast, 2, std::numeric_limits<int>::max()}) {
    EXPECT_EQ(table.RecordField(wrong, 0), nullptr) << wrong;
    EXPECT_EQ(table.RecordField(0, wrong), nullptr) << wrong;
  }
  EXPECT_EQ(table.RecordField(0, nullptr), nullptr);
  EXPECT_STREQ(table.RecordField(0, table.Fields().Field("B")), "y");
  const VekApi::VekField wrong(-1, VekProperties("B"));
  EXPECT_EQ(table.RecordField(0, &wrong), nullptr);
}

TEST(Table, ARecordKeepsTheColumnsOfItsTime) {
  VekTable table{VekProperties("T")};
  table.AddRecord("none\x01yet");
  table.Fields().SetFields(
      "A\x01"
      "B");
  table.AddRecord(
      "1\x01"
      "2\x01"
      "3");
  table.Fields().SetFields(
      "A\x01"
      "B\x01"
      "C");
  table.AddRecord(
      "1\x01"
      "2\x01"
      "3");
  table.Fields().Clear();
  table.AddRecord("4");
  EXPECT_EQ(table.RecordsCount(), 4);
  EXPECT_EQ(table.RecordField(0, 0), nullptr);
  EXPECT_STREQ(table.RecordField(1, 1),
               "2\x01"
               "3");
  EXPECT_EQ(table.RecordField(1, 2), nullptr);
  EXPECT_STREQ(table.RecordField(2, 2), "3");
  EXPECT_EQ(table.RecordField(3, 0), nullptr);
}

TEST(Table, ALineMayHoldAnyByte) {
  VekTable table = TableOf(
      "A\x01"
      "B\x01"
      "C");
  table.AddRecord(
      std::string("a\0hidden\x01"
                  "b\n\x02\x01"
                  "c",
                  14));
  EXPECT_STREQ(table.RecordField(0, 0), "a");
  EXPECT_STREQ(table.RecordField(0, 1), "b\n\x02");
  EXPECT_STREQ(table.RecordField(0, 2), "c");
}

TEST(Table, ValuesStayWherePointersSawThem) {
  VekTable table = TableOf(
      "A\x01"
      "B");
  std::vector<const char*> seen;
  for (int i = 0; i < 5000; ++i) {
    const std::string line = std::to_string(i) + '\x01' + std::string(static_cast<std::size_t>(i % 700), 'x');
    table.AddRecord(line);
    seen.push_back(table.RecordField(i, 0));
  }
  table.AddRecord(std::string(3 << 20, 'y'));  // a line larger than the blocks that records share
  for (int i = 0; i < 5000; ++i) {
    ASSERT_EQ(table.RecordField(i, 0), seen[static_cast<std::size_t>(i)]);
    ASSERT_EQ(seen[static_cast<std::size_t>(i)], std::to_string(i));
    ASSERT_EQ(std::string(table.RecordField(i, 1)).size(), static_cast<std::size_t>(i % 700));
  }
  EXPECT_EQ(std::string(table.RecordField(5000, 0)).size(), std::size_t{3} << 20);
}

TEST(Table, CopiesAreIndependentAndMovesLeaveNothing) {
  VekTable original = TableOf(
      "A\x01"
      "B");
  original.AddRecord(
      "1\x01"
      "2");
  original.Fields().Clear();
  original.AddRecord("bare");
  original.Fields().SetFields("C");
  original.AddRecord("3");
  VekTable copy = original;
  copy.AddRecord("4");
  EXPECT_EQ(original.RecordsCount(), 3);
  original = VekTable{VekProperties("gone")};
  EXPECT_EQ(original.RecordsCount(), 0);
  EXPECT_STREQ(copy.RecordField(0, 1), "2");
  EXPECT_EQ(copy.RecordField(1, 0), nullptr);
  EXPECT_STREQ(copy.RecordField(2, 0), "3");
  EXPECT_STREQ(copy.RecordField(3, 0), "4");

  const VekTable& self = copy;
  copy = self;
  const VekTable moved = std::move(copy);
  EXPECT_STREQ(moved.RecordField(0, 1), "2");
  EXPECT_EQ(copy.RecordsCount(), 0);  // NOLINT: promised
  copy.AddRecord("again");
  EXPECT_EQ(copy.RecordsCount(), 1);
}

TEST(Table, PropertiesAreAtTheTablesAddress) {
  const VekTable table = TableOf("A");
  EXPECT_EQ(static_cast<const void*>(&table.Properties()), static_cast<const void*>(&table));
}

TEST(Table, MarketFlagReadsCNumbersOf32Bits) {
  const std::vector<std::pair<std::string, unsigned>> cases = {
      {"T", 0},
      {"T\x04mkt=3", 3},
      {"T\x04mkt=0x10", 16},
      {"T\x04mkt=010", 8},
      {"T\x04mkt=abc", 0},
      {"T\x04mkt=", 0},
      {"T\x04mkt= \t7 ", 7},
      {"T\x04mkt=12x", 12},
      {"T\x04mkt=+5", 5},
      {"T\x04mkt=-2", 0xFFFFFFFEu},
      {"T\x04mkt=4294967295", 0xFFFFFFFFu},
      {"T\x04mkt=4294967296", 0xFFFFFFFFu},
      {"T\x04mkt=-4294967296", 0xFFFFFFFFu},
      {"T\x04mkt=99999999999999999999", 0xFFFFFFFFu},
      {"T\x04mkt=-99999999999999999999", 0xFFFFFFFFu},
  };
  for (const auto& [text, flag] : cases)
    EXPECT_EQ(static_cast<unsigned>(VekTable{VekProperties(text)}.MktFlag()), flag) << text;
}

}  // namespace
