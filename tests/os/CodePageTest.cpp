// The expected results for well-formed text are those of the Windows API, as implemented by Wine. Passing as
// a Windows program verifies them; passing elsewhere verifies the tables.
#include "platform/os/CodePage.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

#include "code_page_expected.inc"

using Dova::Os::CodePage950ToUtf8;
using Dova::Os::Utf8ToCodePage950;

std::string ToBig5(const std::string& utf8) {
  std::string big5 = "left over";
  EXPECT_TRUE(Utf8ToCodePage950(utf8, big5));
  return big5;
}

std::string ToUtf8(const std::string& big5) {
  std::string utf8 = "left over";
  EXPECT_TRUE(CodePage950ToUtf8(big5, utf8));
  return utf8;
}

class TDigest {
 public:
  void Add(const std::string& answer) {
    AddByte(static_cast<unsigned char>(answer.size()));
    for (const char c : answer) AddByte(static_cast<unsigned char>(c));
  }
  std::uint64_t Value() const { return value_; }

 private:
  void AddByte(unsigned char byte) { value_ = (value_ ^ byte) * 0x100000001B3u; }

  std::uint64_t value_ = 0xCBF29CE484222325u;
};

std::string Utf8Of(unsigned unit) {
  if (unit >= 0xD800 && unit < 0xE000) return "?";
  std::string utf8;
  if (unit < 0x80) return utf8 += static_cast<char>(unit);
  if (unit < 0x800) {
    utf8 += static_cast<char>(0xC0 | unit >> 6);
  } else {
    utf8 += static_cast<char>(0xE0 | unit >> 12);
    utf8 += static_cast<char>(0x80 | (unit >> 6 & 0x3F));
  }
  return utf8 += static_cast<char>(0x80 | (unit & 0x3F));
}

TEST(CodePage950, EveryCharacterOfTheBasicPlane) {
  TDigest digest;
  for (unsigned unit = 0; unit < 0x10000; ++unit) digest.Add(ToBig5(Utf8Of(unit)));
  EXPECT_EQ(digest.Value(), kBig5OfAll);
}

TEST(CodePage950, EveryByteAndPairToUtf8) {
  TDigest digest;
  for (int lead = 0; lead < 256; ++lead) {
    const std::string single(1, static_cast<char>(lead));
    digest.Add(ToUtf8(single));
    if (lead < 0x81 || lead > 0xFE) continue;
    for (int trail = 0; trail < 256; ++trail) digest.Add(ToUtf8(single + static_cast<char>(trail)));
  }
  EXPECT_EQ(digest.Value(), kUtf8OfAll);
}

// One byte of each class that UTF-8 distinguishes, and the control bytes of records.
constexpr unsigned char kKinds[] = {0x00, 0x01, '\n', 'A',  0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC1,
                                    0xC2, 0xDF, 0xE0, 0xE1, 0xED, 0xEF, 0xF0, 0xF1, 0xF4, 0xF5, 0xFF};

// Those below 0x80; no other character has one of them as its best fit.
std::string AsciiOf(const std::string& text) {
  std::string ascii;
  for (const char c : text) {
    if (static_cast<unsigned char>(c) < ' ' || c == 'A' || c == '\x7F') ascii += c;
  }
  return ascii;
}

// No ill-formed sequence consumes a line feed, separator or letter, or produces one.
void TryEverySequence(const std::string& text, int left) {
  ASSERT_EQ(AsciiOf(ToBig5(text)), AsciiOf(text)) << testing::PrintToString(text);
  if (left == 0) return;
  for (const unsigned char kind : kKinds) TryEverySequence(text + static_cast<char>(kind), left - 1);
}

TEST(CodePage950, IllFormedSequencesSwallowNothing) {
  TryEverySequence({}, 4);
}

struct TCase {
  const char* what;
  std::string utf8;
  std::string big5;
};

TEST(CodePage950, ReadsWellFormedAndOtherText) {
  const std::vector<TCase> cases = {
      {"nothing", "", ""},
      {"ASCII with NUL and control bytes", std::string("a\0b\x01\n", 5), std::string("a\0b\x01\n", 5)},
      {"Chinese", "\xE4\xB8\xAD\xE6\x96\x87", "\xA4\xA4\xA4\xE5"},
      {"best fit", "caf\xC3\xA9", "cafe"},
      {"surrogate pair", "\xF0\x9F\x98\x80", "??"},
      {"byte order mark", "\xEF\xBB\xBFx", "?x"},
      {"stray trail byte", "\x80x", "?x"},
      {"cut by a letter", "\xE4\xB8x yz", "?x yz"},
      {"cut by the next character", "\xE4\xE4\xB8\xAD", "?\xA4\xA4"},
      {"cut by a letter at the end", "\xE4x", "?x"},
      {"cut by the ends of a field, a line and the text", "\xE4\x01\xF0\x9F\n\xE4\xB8", "?\x01?\n?"},
      {"written too long", "\xC0\x80 \xE0\x80\x80 \xF0\x80\x80\x80.", "?? ?? ???."},
      {"surrogate written out", "\xED\xA0\x80.", "??."},
      {"beyond the last plane", "\xF4\x90\x80\x80 \xF5\x80.", "??? ??."},
  };
  for (const TCase& c : cases) EXPECT_EQ(ToBig5(c.utf8), c.big5) << c.what;
}

// A character must be converted the same at every position within the blocks copied at once.
TEST(CodePage950, CharacterAtEveryPlaceInAsciiText) {
  for (std::size_t before = 0; before < 20; ++before) {
    for (std::size_t behind = 0; behind < 20; ++behind) {
      const std::string a(before, 'a');
      const std::string b(behind, 'b');
      ASSERT_EQ(ToBig5(a + "\xE4\xB8\xAD" + b), a + "\xA4\xA4" + b);
    }
  }
}

TEST(CodePage950, RefusesWhatCannotBeCounted) {
  // Never read: only the size matters.
  const std::string_view huge("", std::size_t{0x80000000});
  std::string out = "left over";
  EXPECT_FALSE(Utf8ToCodePage950(huge, out));
  EXPECT_EQ(out, "");
  out = "left over";
  EXPECT_FALSE(CodePage950ToUtf8(huge, out));
  EXPECT_EQ(out, "");
}

}  // namespace
