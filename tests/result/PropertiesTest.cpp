#include <gtest/gtest.h>

#include <string>

#include "result/packets.h"

namespace {

using results::Bytes;
using results::Visible;
using VekApi::VekProperties;

TEST(Properties, DescriptionFallsBackToDisplayTextThenName) {
  VekProperties properties("T");
  EXPECT_EQ(properties.Description(), "T");
  properties.Add("DisplayText", "Price");
  EXPECT_EQ(properties.DisplayText(), "Price");
  EXPECT_EQ(properties.Description(), "Price");
  properties.Add("Description", "Last price");
  EXPECT_EQ(properties.DisplayText(), "Price");
  EXPECT_EQ(properties.Description(), "Last price");
}

TEST(Properties, FirstValueOfAKeyHolds) {
  VekProperties properties(Bytes("A;k=1"));
  properties.SetProperties(Bytes("B;k=2;l=3"));
  EXPECT_FALSE(properties.Add("l", "4"));
  EXPECT_EQ(properties.Name(), "B");
  EXPECT_EQ(Visible(properties.ToDispString()), "|k=1|l=3");
  EXPECT_EQ(*properties.Get("k"), "1");
  EXPECT_EQ(properties.Get("K"), nullptr);
}

TEST(Properties, CopiesAreIndependent) {
  VekProperties properties(Bytes("A;k=1")), copy("T");
  copy = properties;
  copy.Name("B");
  copy.Add("l", "2");
  EXPECT_EQ(properties.Name() + Visible(properties.ToDispString()), "A|k=1");
  EXPECT_EQ(copy.Name() + Visible(copy.ToDispString()), "B|k=1|l=2");
}

TEST(Properties, AddTakesAnyBytes) {
  VekProperties properties("T");
  const std::string key("k\0=", 3);
  EXPECT_TRUE(properties.Add(key, "v"));
  EXPECT_EQ(*properties.Get(key), "v");
  EXPECT_EQ(properties.Get("k"), nullptr);
}

TEST(Properties, TakesItsOwnTexts) {
  VekProperties properties(Bytes("T;k=" + std::string(40, 'v')));
  const std::string text = properties.ToDispString(), longer = text + Bytes(";l=" + text);
  EXPECT_TRUE(properties.Add(properties.ToDispString(), properties.ToDispString()));
  EXPECT_EQ(*properties.Get(text), text);
  properties.Add(longer, "");
  properties.SetProperties(properties.ToDispString());
  EXPECT_EQ(*properties.Get("l"), text + "=");
}

TEST(Properties, ValuesStayWherePointersSawThem) {
  VekProperties properties(Bytes("T;m=middle"));
  const std::string* const middle = properties.Get("m");
  for (int i = 0; i < 1000; ++i) properties.Add(std::to_string(i), "x");
  EXPECT_EQ(properties.Get("m"), middle);
  EXPECT_EQ(*middle, "middle");
}

}  // namespace
