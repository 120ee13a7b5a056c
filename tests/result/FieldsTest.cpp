#include <gtest/gtest.h>

#include <string>

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

TEST(Fields, FindEveryNameHoweverMany) {
  for (const int count : {1, 2, 65, 500}) {
    std::string text;
    for (int i = 0; i < count; ++i) text += "Column" + std::to_string(i) + "|";
    VekFields fields = FieldsOf((text + "Column0").c_str());
    ASSERT_EQ(fields.Count(), count);
    VekFields copy;
    copy = fields;
    fields.Clear();
    EXPECT_EQ(fields.Field("Column0"), nullptr);
    EXPECT_EQ(fields.Field(0), nullptr);
    for (int i = 0; i < count; ++i) {
      ASSERT_NE(copy.Field("Column" + std::to_string(i)), nullptr);
      ASSERT_EQ(copy.Field("Column" + std::to_string(i))->Index(), i);
    }
    for (const char* const name : {"Column", "column0", "replaced", "Column0~"})
      EXPECT_EQ(copy.Field(Bytes(name)), nullptr);
  }
}

}  // namespace
