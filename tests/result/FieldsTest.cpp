#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "vekapi/VekFields.h"

namespace {

using VekApi::VekFields;

TEST(Fields, ReadsColumnsWithAttributes) {
  VekFields fields;
  fields.SetFields(
      "Code\x01Price\x04"
      "DisplayText=P\x01Qty");
  ASSERT_EQ(fields.Count(), 3);
  EXPECT_EQ(fields.Field("Price")->Index(), 1);
  EXPECT_EQ(fields.Field("Price")->Properties().DisplayText(), "P");
  EXPECT_EQ(fields.Field(2)->Properties().Name(), "Qty");
}

TEST(Fields, FirstColumnOfANameHolds) {
  VekFields fields;
  fields.SetFields(
      "A\x04k=1\x01"
      "B\x01"
      "A\x04k=2\x01"
      "D");
  ASSERT_EQ(fields.Count(), 3);
  EXPECT_EQ(*fields.Field("A")->Properties().Get("k"), "1");
  EXPECT_EQ(fields.Field("D")->Index(), 2);
}

TEST(Fields, NullWhereThereIsNone) {
  VekFields fields;
  EXPECT_EQ(fields.Field(0), nullptr);
  EXPECT_EQ(fields.Field("A"), nullptr);
  fields.SetFields("A");
  EXPECT_EQ(fields.Field(-1), nullptr);
  EXPECT_EQ(fields.Field(fields.Count()), nullptr);
  EXPECT_EQ(fields.Field("a"), nullptr);
}

TEST(Fields, AnEmptyTextIsOneUnnamedColumn) {
  VekFields fields;
  fields.SetFields("");
  ASSERT_EQ(fields.Count(), 1);
  EXPECT_EQ(fields.Field("")->Index(), 0);
  fields.SetFields("A\x01");
  EXPECT_EQ(fields.Field("")->Index(), 1);
  fields.SetFields("A\x01\x01");
  EXPECT_EQ(fields.Count(), 2);
}

TEST(Fields, EndAtANulAndReplaceOnes) {
  VekFields fields;
  fields.SetFields("X\x01Y\x01Z");
  fields.SetFields(
      std::string("A\x01"
                  "B\0C\x01"
                  "D",
                  7));
  ASSERT_EQ(fields.Count(), 2);
  EXPECT_EQ(fields.Field("B")->Index(), 1);
  EXPECT_EQ(fields.Field("X"), nullptr);
}

// Few and many names are found in different ways: both must agree, on the border too.
TEST(Fields, FindEveryNameHoweverMany) {
  for (const int count : {1, 2, 63, 64, 65, 66, 500}) {
    std::string text;
    for (int i = 0; i < count; ++i) text += "Column" + std::to_string(i) + '\x01';
    text += "Column0";  // repeated
    VekFields fields;
    fields.SetFields(text);
    ASSERT_EQ(fields.Count(), count);
    const VekFields copy = fields;
    fields.Clear();
    EXPECT_EQ(fields.Field("Column0"), nullptr);
    for (int i = 0; i < count; ++i) {
      ASSERT_NE(copy.Field("Column" + std::to_string(i)), nullptr);
      ASSERT_EQ(copy.Field("Column" + std::to_string(i))->Index(), i);
    }
    EXPECT_EQ(copy.Field("Column"), nullptr);
  }
}

TEST(Fields, NamesDifferInAnyByte) {
  VekFields fields;
  fields.SetFields(
      "abcdefgh\x01"
      "abcdefghi\x01"
      "abcdefgi\x01"
      "Xbcdefgh\x01"
      "abcdefghabcdefgh");
  EXPECT_EQ(fields.Count(), 5);
  EXPECT_EQ(fields.Field(std::string("abcdefgh\0", 9)), nullptr);
}

TEST(Fields, CopiesAreIndependentAndMovesLeaveNothing) {
  VekFields original;
  original.SetFields(
      "A\x01"
      "B");
  VekFields copy = original;
  copy.SetFields("C");
  EXPECT_EQ(original.Field("B")->Index(), 1);
  copy = original;
  EXPECT_EQ(copy.Field("C"), nullptr);
  const VekFields moved = std::move(copy);
  EXPECT_EQ(moved.Count(), 2);
  EXPECT_EQ(copy.Count(), 0);  // NOLINT: promised
  copy.SetFields("E");
  EXPECT_EQ(copy.Count(), 1);
}

}  // namespace
