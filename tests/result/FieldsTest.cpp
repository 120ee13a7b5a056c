#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "result/packets.h"

namespace {

using results::Bytes;
using VekApi::VekFields;

VekFields FieldsOf(const char* visible) {
  VekFields fields;
  fields.SetFields("replaced");
  fields.SetFields(Bytes(visible));
  return fields;
}

TEST(Fields, ReadTexts) {
  const std::pair<const char*, const char*> cases[] = {
      {"Code|Price;DisplayText=P|Qty", "(Code)(Price|DisplayText=P)(Qty)"},
      {"A;k=1|B|A;k=2|D", "(A|k=1)(B)(D)"},
      {"", "()"},
      {"A|", "(A)()"},
      {"A||", "(A)()"},
      {"A|B~C|D", "(A)(B)"},
      {"abcdefgh|abcdefghi|abcdefgi|Xbcdefgh|abcdefghabcdefgh",
       "(abcdefgh)(abcdefghi)(abcdefgi)(Xbcdefgh)(abcdefghabcdefgh)"},
  };
  for (const auto& [text, columns] : cases) EXPECT_EQ(results::Describe(FieldsOf(text)), columns) << text;
}

TEST(Fields, NullWhereThereIsNone) {
  EXPECT_EQ(VekFields().Field(0), nullptr);
  EXPECT_EQ(VekFields().Field("A"), nullptr);
  const VekFields fields = FieldsOf("A");
  EXPECT_EQ(fields.Field(-1), nullptr);
  EXPECT_EQ(fields.Field(1), nullptr);
  EXPECT_EQ(fields.Field("a"), nullptr);
  EXPECT_EQ(fields.Field("replaced"), nullptr);
  EXPECT_EQ(fields.Field(Bytes("A~")), nullptr);
}

TEST(Fields, FindEveryNameHoweverMany) {
  for (const int count : {1, 2, 65, 500}) {
    std::string text;
    for (int i = 0; i < count; ++i) text += "Column" + std::to_string(i) + "|";
    VekFields fields = FieldsOf((text + "Column0").c_str());
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

TEST(Fields, CopiesAreIndependentAndMovesLeaveNothing) {
  const VekFields original = FieldsOf("A|B");
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
