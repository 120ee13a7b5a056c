#include "TextWidth.h"

#include <algorithm>
#include <iterator>

namespace {

struct Range {
  char32_t first, last;
};

// The usual East Asian wide ranges, in ascending order. Characters of ambiguous width count as narrow, which
// is the default of terminals.
constexpr Range kWide[] = {
    {0x1100, 0x115F},   {0x2E80, 0x303E},   {0x3041, 0x4DBF},   {0x4E00, 0xA4CF}, {0xA960, 0xA97F},
    {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF01, 0xFF60}, {0xFFE0, 0xFFE6},
    {0x1F300, 0x1F64F}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD},
};
constexpr Range kCombining[] = {{0x0300, 0x036F}, {0x200B, 0x200F}, {0x20D0, 0x20FF}, {0xFE00, 0xFE0F}};

template <std::size_t N>
bool In(const Range (&ranges)[N], char32_t c) {
  const auto* found = std::lower_bound(std::begin(ranges), std::end(ranges), c,
                                       [](const Range& range, char32_t value) { return range.last < value; });
  return found != std::end(ranges) && found->first <= c;
}

std::size_t LengthOf(unsigned char lead) {
  if (lead >= 0xC2 && lead <= 0xDF) return 2;
  if (lead >= 0xE0 && lead <= 0xEF) return 3;
  if (lead >= 0xF0 && lead <= 0xF4) return 4;
  return 1;
}

// Removes one character from the front; a byte that starts none counts as a character.
char32_t TakeCharacter(std::string_view& text) {
  const auto lead = static_cast<unsigned char>(text.front());
  const std::size_t length = LengthOf(lead);
  char32_t c = length == 1 ? lead : lead & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if (i >= text.size() || (static_cast<unsigned char>(text[i]) & 0xC0U) != 0x80U) {
      text.remove_prefix(1);
      return lead;
    }
    c = (c << 6) | (static_cast<unsigned char>(text[i]) & 0x3FU);
  }
  text.remove_prefix(length);
  return c;
}

}  // namespace

std::size_t TextWidth(std::string_view utf8) {
  std::size_t width = 0;
  while (!utf8.empty()) {
    const char32_t c = TakeCharacter(utf8);
    if (In(kCombining, c)) continue;
    width += In(kWide, c) ? 2 : 1;
  }
  return width;
}
