#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "result/packets.h"
#include "vekapi/VekApiC.h"

namespace vektest {
namespace {

const char kText[] =
    "\x02T\x04"
    "a=1\x04"
    "DisplayText=\xA5\x5C\x04mkt=2\n"
    "\x03P\x04"
    "Description=d\x01Q\n"
    "x\x01\xA5\x5C\xFF\n"
    "y\n";

// The content of a byte-length automation string, by its byte count.
std::string TakeBSTR(CVekBSTR text) {
  std::uint32_t length = 0;
  std::memcpy(&length, text - sizeof length, sizeof length);
  const std::string bytes(text, length);
  EXPECT_EQ(text[length], 0);
  EXPECT_EQ(text[length + 1], 0);
  CVekApi_FreeBSTR(text);
  return bytes;
}

struct ResultTest : testing::Test {
  VekApi::VekTaskResult object = results::ResultOf(kText);
  CVekTaskResult result{&object};
  CVekTable table = CVekTaskResult_IndexTable(&result, 0);
  CVekFields fields = CVekTable_Fields(&table);
  CVekProperties properties = CVekTable_Properties(&table);
};

TEST_F(ResultTest, TablesByIndexAndName) {
  EXPECT_STREQ(CVekTaskResult_WorkID(&result), "Work");
  EXPECT_STREQ(CVekTaskResult_OrigResult(&result), kText);
  EXPECT_EQ(CVekTaskResult_TableCount(&result), 1u);
  EXPECT_EQ(CVekTaskResult_NameTable(&result, "T").object, table.object);
  EXPECT_EQ(CVekTaskResult_NameTable(&result, "t").object, nullptr);
  EXPECT_EQ(CVekTaskResult_NameTable(&result, nullptr).object, nullptr);
  for (const unsigned index : {1u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(CVekTaskResult_IndexTable(&result, index).object, nullptr);
  }
}

TEST_F(ResultTest, ColumnsByIndexAndName) {
  EXPECT_EQ(CVekFields_Count(&fields), 2);
  const CVekField second = CVekFields_IndexField(&fields, 1);
  EXPECT_EQ(CVekFields_NameField(&fields, "Q").object, second.object);
  EXPECT_EQ(CVekField_Index(&second), 1);
  for (const int index : {-1, 2, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(CVekFields_IndexField(&fields, index).object, nullptr);
  }
  EXPECT_EQ(CVekFields_NameField(&fields, "R").object, nullptr);
  EXPECT_EQ(CVekFields_NameField(&fields, nullptr).object, nullptr);
  const CVekField first = CVekFields_NameField(&fields, "P");
  const CVekProperties ofFirst = CVekField_Properties(&first);
  EXPECT_STREQ(CVekProperties_DisplayText(&ofFirst), "P");
  EXPECT_STREQ(CVekProperties_Description(&ofFirst), "d");
}

TEST_F(ResultTest, RecordsInBlocks) {
  CVekRecordBlock block{};
  EXPECT_EQ(CVekTable_RecordBlock(&table, 0, &block), 1);
  EXPECT_EQ(std::string(block.text + block.starts[0], block.text + block.textEnd),
            std::string("x\0\xA5\x5C\xFF\0", 6));
  EXPECT_EQ(CVekTable_RecordBlock(&table, 1, &block), 1);
  EXPECT_STREQ(block.text + block.starts[0], "y");
  EXPECT_EQ(block.values, 1);
  EXPECT_EQ(block.columns, 2);
  for (const int row : {-1, 2, INT32_MAX}) EXPECT_EQ(CVekTable_RecordBlock(&table, row, &block), 0);
  EXPECT_EQ(block.text, nullptr);
  EXPECT_EQ(CVekTable_RecordBlock(&table, 0, nullptr), 0);
  std::int32_t length = 0;
  const char* const names = CVekFields_Names(&fields, &length);
  EXPECT_EQ(std::string(names, static_cast<std::size_t>(length)), std::string("P\0Q\0", 4));
}

TEST_F(ResultTest, RecordsByIndexAndField) {
  EXPECT_EQ(CVekTable_RecordsCount(&table), 2);
  EXPECT_EQ(CVekTable_MktFlag(&table), cvam_Futures);
  const CVekField q = CVekFields_NameField(&fields, "Q");
  EXPECT_STREQ(CVekTable_RecordField(&table, 0, &q), "\xA5\x5C\xFF");
  EXPECT_STREQ(CVekTable_RecordField(&table, 1, &q), "");
  EXPECT_STREQ(CVekTable_RecordIndexField(&table, 1, 0), "y");
  const VekApi::VekField wrong(-1, VekApi::VekProperties("Q"));
  const CVekField none{}, before{&wrong};
  for (const int index : {-1, 2, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(CVekTable_RecordIndexField(&table, index, 0), nullptr);
    EXPECT_EQ(CVekTable_RecordIndexField(&table, 0, index), nullptr);
    EXPECT_EQ(CVekTable_RecordField(&table, index, &q), nullptr);
  }
  EXPECT_EQ(CVekTable_RecordField(&table, 0, &before), nullptr);
  EXPECT_EQ(CVekTable_RecordField(&table, 0, &none), nullptr);
  EXPECT_EQ(CVekTable_RecordField(&table, 0, nullptr), nullptr);
}

TEST_F(ResultTest, PropertiesOfATableAreAtItsAddress) {
  EXPECT_EQ(properties.object, table.object);
  EXPECT_STREQ(CVekProperties_Name(&properties), "T");
  EXPECT_STREQ(CVekProperties_Get(&properties, "a"), "1");
  EXPECT_EQ(CVekProperties_Get(&properties, "A"), nullptr);
  EXPECT_EQ(CVekProperties_Get(&properties, nullptr), nullptr);
}

// All texts differ, so that mixed-up functions are detected.
TEST_F(ResultTest, AutomationStringsHoldTheSameBytes) {
  const CVekField p = CVekFields_NameField(&fields, "P");
  const CVekField q = CVekFields_NameField(&fields, "Q");
  const CVekProperties ofFirst = CVekField_Properties(&p);
  EXPECT_EQ(TakeBSTR(CVekTaskResult_WorkID_B(&result)), "Work");
  EXPECT_EQ(TakeBSTR(CVekTaskResult_OrigResult_B(&result)), kText);
  EXPECT_EQ(TakeBSTR(CVekProperties_Get_B(&properties, "a")), "1");
  EXPECT_EQ(TakeBSTR(CVekProperties_Name_B(&properties)), "T");
  EXPECT_EQ(TakeBSTR(CVekProperties_DisplayText_B(&properties)), "\xA5\x5C");
  EXPECT_EQ(TakeBSTR(CVekProperties_Description_B(&ofFirst)), "d");
  EXPECT_EQ(TakeBSTR(CVekTable_RecordIndexField_B(&table, 1, 0)), "y");
  EXPECT_EQ(TakeBSTR(CVekTable_RecordField_B(&table, 0, &q)), "\xA5\x5C\xFF");
  EXPECT_EQ(CVekProperties_Get_B(&properties, "absent"), nullptr);
  EXPECT_EQ(CVekTable_RecordIndexField_B(&table, 9, 0), nullptr);
}

TEST(CstrToBSTRTest, KeepsEveryByte) {
  CVekBSTR const empty = CstrToBSTR("");
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(TakeBSTR(empty), "");
  std::string all;
  for (int byte = 1; byte < 256; ++byte) all += static_cast<char>(byte);  // odd length, too
  EXPECT_EQ(TakeBSTR(CstrToBSTR(all.c_str())), all);
}

}  // namespace
}  // namespace vektest
