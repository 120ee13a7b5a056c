#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "vekapi/VekProperties.h"

namespace {

using VekApi::VekProperties;

struct TCase {
  std::string text;
  std::string name;
  std::string pairText;
};

TEST(Properties, ReadsTexts) {
  const std::vector<TCase> cases = {
      {"", "", ""},
      {"abc", "abc", ""},
      {"T\x04"
       "k=1\x04"
       "k=2",
       "T", "\x01k=1"},
      {"T\x04k=a=b", "T", "\x01k=a=b"},
      {"T\x04noequals", "T", ""},
      {"N\x04"
       "abc\x04k=v",
       "N",
       "\x01"
       "abc\x04k=v"},  // a key reaches over separators to its "="
      {"T\x04z=1\x04"
       "a=2\x04",
       "T",
       "\x01z=1\x01"
       "a=2"},
      {"T\x04=v", "T", "\x01=v"},
      {"T\x04k=", "T", "\x01k="},
      {"\x04k=v", "", "\x01k=v"},
      {std::string("T\x04k=v\0w\x04l=w", 11), "T", "\x01k=v"},  // ends at a NUL
  };
  for (const TCase& c : cases) {
    const VekProperties properties(c.text);
    EXPECT_EQ(properties.Name(), c.name) << c.text;
    EXPECT_EQ(properties.ToDispString(), c.pairText) << c.text;
    EXPECT_EQ(properties.ToString(), c.name + c.pairText) << c.text;
  }
}

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
  VekProperties properties("A\x04k=1");
  properties.SetProperties("B\x04k=2\x04l=3");
  EXPECT_FALSE(properties.Add("l", "4"));
  EXPECT_EQ(properties.Name(), "B");
  EXPECT_EQ(properties.ToDispString(), "\x01k=1\x01l=3");
  EXPECT_EQ(*properties.Get("k"), "1");
  EXPECT_EQ(properties.Get("K"), nullptr);
}

TEST(Properties, AddTakesAnyBytes) {
  VekProperties properties("T");
  const std::string key("k\0=", 3);
  EXPECT_TRUE(properties.Add(key, "v"));
  EXPECT_EQ(*properties.Get(key), "v");
  EXPECT_EQ(properties.Get("k"), nullptr);
}

TEST(Properties, ValuesStayWherePointersSawThem) {
  VekProperties properties("T\x04m=middle");
  const std::string* const middle = properties.Get("m");
  for (int i = 0; i < 1000; ++i) properties.Add(std::to_string(i), "x");
  EXPECT_EQ(properties.Get("m"), middle);
  EXPECT_EQ(*middle, "middle");
}

TEST(Properties, CopiesAreIndependentAndMovesLeaveNothing) {
  VekProperties original("Original\x04k=a value that is long enough to need memory of its own");
  VekProperties copy = original;
  copy.Add("l", "2");
  copy.Name("Copy");
  EXPECT_EQ(original.Name(), "Original");
  EXPECT_EQ(original.Get("l"), nullptr);

  const VekProperties& self = copy;
  copy = self;
  EXPECT_EQ(*copy.Get("l"), "2");

  const VekProperties moved = std::move(copy);
  EXPECT_EQ(*moved.Get("l"), "2");
  EXPECT_EQ(copy.ToString(), "");  // NOLINT: promised
  EXPECT_EQ(copy.Get("l"), nullptr);
}

}  // namespace
