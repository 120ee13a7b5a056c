// Display of Chinese texts in a terminal by the examples.
#include <gtest/gtest.h>

#include <string>

#include "Terminal.h"
#include "TextGrid.h"
#include "TextWidth.h"

namespace {

struct WidthCase {
  const char* what;
  const char* utf8;
  std::size_t width;
};

TEST(TextWidth, CountsTerminalColumns) {
  const WidthCase cases[] = {
      {"ascii", "TXF 18250", 9},
      {"Chinese", "\xE8\x87\xBA\xE8\x82\xA1", 4},
      {"first and last of a wide range", "\xE4\xB8\x80\xE9\xBF\xBF", 4},
      {"full-width punctuation", "\xEF\xBC\x8C", 2},
      {"beyond the basic plane", "\xF0\xA0\x80\x80", 2},
      {"combining mark", "e\xCC\x81", 1},
      {"two-byte letter", "\xC3\xA9", 1},
      {"cut character", "\xE8\x87", 2},
      {"bytes that are no UTF-8", "\xFF\x80", 2},
  };
  for (const WidthCase& c : cases) EXPECT_EQ(TextWidth(c.utf8), c.width) << c.what;
}

TEST(TextGrid, AlignsChineseAndNumbers) {
  const std::string text = FormatGrid(
      {{"\xE5\x95\x86\xE5\x93\x81", "Qty"}, {"\xE8\x87\xBA\xE8\x82\xA1\xE6\x9C\x9F", "5"}, {"TXF", "120"}});
  EXPECT_EQ(text,
            "\xE5\x95\x86\xE5\x93\x81    Qty\n"
            "------  ---\n"
            "\xE8\x87\xBA\xE8\x82\xA1\xE6\x9C\x9F    5\n"
            "TXF     120\n");
}

TEST(TextGrid, TakesRowsOfDifferentLengths) {
  EXPECT_EQ(FormatGrid({{"a"}, {"b", "c"}}), "a\n-  -\nb  c\n");
  EXPECT_EQ(FormatGrid({{}}), "\n\n");
}

TEST(Terminal, ConvertsCodePage950) {
  EXPECT_EQ(ToUtf8("\xA6\xA8\xA5\xE6 5"), "\xE6\x88\x90\xE4\xBA\xA4 5");
  // The second byte of this character is a backslash in ASCII.
  EXPECT_EQ(ToUtf8("\xA5\x5C"), "\xE5\x8A\x9F");
}

TEST(Terminal, LetsNoControlByteThrough) {
  for (const char byte : ToUtf8(std::string("a\x1B[2J\x01\x00\x7F\r\n\xA6\x0A", 12))) {
    EXPECT_GE(static_cast<unsigned char>(byte), 0x20U);
    EXPECT_NE(byte, '\x7F');
  }
}

TEST(Terminal, ReadsOnAfterWhatIsNoCharacter) {
  const std::string text = ToUtf8(
      "A\xFF"
      "B\xA6\xA8\xA6");
  EXPECT_EQ(text.front(), 'A');
  EXPECT_NE(text.find("\xE6\x88\x90"), std::string::npos);
}

}  // namespace
