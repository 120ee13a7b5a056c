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

// Values and blocks, and what is not there, are in the fuzzer of results; properties in theirs.
TEST_F(ResultTest, TablesColumnsAndValuesByName) {
  EXPECT_EQ(CVekTaskResult_NameTable(&result, "T").object, table.object);
  EXPECT_EQ(CVekTaskResult_NameTable(&result, "t").object, nullptr);
  EXPECT_EQ(CVekTaskResult_NameTable(&result, nullptr).object, nullptr);
  EXPECT_EQ(CVekTaskResult_IndexTable(&result, 0x80000000u).object, nullptr);
  EXPECT_EQ(CVekTable_MktFlag(&table), cvam_Futures);
  EXPECT_EQ(properties.object, table.object) << "at the table's address";
  EXPECT_EQ(CVekProperties_Get(&properties, "A"), nullptr);
  EXPECT_EQ(CVekProperties_Get(&properties, nullptr), nullptr);
  EXPECT_EQ(CVekFields_NameField(&fields, "R").object, nullptr);
  EXPECT_EQ(CVekFields_NameField(&fields, nullptr).object, nullptr);
  const CVekField p = CVekFields_NameField(&fields, "P"), q = CVekFields_NameField(&fields, "Q");
  EXPECT_EQ(CVekField_Index(&q), 1);
  const CVekProperties ofFirst = CVekField_Properties(&p);
  EXPECT_STREQ(CVekProperties_DisplayText(&ofFirst), "P");
  EXPECT_STREQ(CVekTable_RecordField(&table, 0, &q), "\xA5\x5C\xFF");
  const VekApi::VekField wrong(-1, VekApi::VekProperties("Q"));
  const CVekField none{}, before{&wrong};
  EXPECT_EQ(CVekTable_RecordField(&table, 0, &before), nullptr);
  EXPECT_EQ(CVekTable_RecordField(&table, 0, &none), nullptr);
  EXPECT_EQ(CVekTable_RecordField(&table, 0, nullptr), nullptr);
  EXPECT_EQ(CVekTable_RecordBlock(&table, 0, nullptr), 0);
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
