#include "platform/os/Utf8.h"

namespace Dova::Os {
namespace {

bool IsTrail(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// Checks the second byte: after some first bytes it shows that the encoding is overlong, a surrogate, or
// beyond U+10FFFF.
bool IsWrongSecond(unsigned char lead, unsigned char second) {
  switch (lead) {
    case 0xE0:
      return second < 0xA0;
    case 0xED:
      return second >= 0xA0;
    case 0xF0:
      return second < 0x90;
    case 0xF4:
      return second >= 0x90;
    default:
      return false;
  }
}

std::size_t TrailsOf(unsigned char lead) {
  if (lead < 0xC2 || lead > 0xF4) return 0;
  return lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
}

}  // namespace

TUtf8Character DecodeUtf8(std::string_view text) noexcept {
  const auto lead = static_cast<unsigned char>(text[0]);
  if (lead < 0x80) return {lead, 1};
  const std::size_t trails = TrailsOf(lead);
  if (trails == 0) return {kIllFormedUtf8, 1};
  std::uint32_t code = lead & (0x3Fu >> trails);
  for (std::size_t i = 1; i <= trails; ++i) {
    if (i == text.size() || !IsTrail(text[i])) return {kIllFormedUtf8, i};
    const auto trail = static_cast<unsigned char>(text[i]);
    if (i == 1 && IsWrongSecond(lead, trail)) return {kIllFormedUtf8, 2};
    code = code << 6 | (trail & 0x3Fu);
  }
  return {code, trails + 1};
}

}  // namespace Dova::Os
