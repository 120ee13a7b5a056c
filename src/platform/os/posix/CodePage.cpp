#include "platform/os/CodePage.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "platform/os/Utf8.h"
#include "platform/os/posix/Cp950Cells.h"
#include "platform/os/posix/Cp950Pairs.h"

namespace Dova::Os {
namespace {

constexpr char kNoCharacter = '?';
constexpr char16_t kUnitOfFF = 0xF8F8;  // 0x80 and 0xFF are characters, too

std::uint16_t Big5Of(std::uint32_t unit) {
  if (unit <= 0x80) return static_cast<std::uint16_t>(unit);
  if (unit == kUnitOfFF) return 0xFF;
  const std::uint16_t bytes = Cp950::PairOfCharacter(static_cast<char16_t>(unit));
  return bytes ? bytes : kNoCharacter;
}

char16_t UnitOf(unsigned bytes) {
  if (bytes <= 0x80) return static_cast<char16_t>(bytes);
  if (bytes == 0xFF) return kUnitOfFF;
  const char16_t unit = bytes > 0xFF ? Cp950::CharacterOf(bytes) : Cp950::kNone;
  return unit == Cp950::kNone ? kNoCharacter : unit;
}

// Number of bytes below 0x80 from `at` on, rounded down to a multiple of eight; the rest is converted one by
// one.
std::size_t AsciiRun(std::string_view text, std::size_t at) {
  const std::size_t start = at;
  for (std::uint64_t eight = 0; text.size() - at >= sizeof eight; at += sizeof eight) {
    std::memcpy(&eight, text.data() + at, sizeof eight);
    if (eight & 0x8080808080808080u) break;
  }
  return at - start;
}

char* PutBig5(std::uint32_t code, char* out) {
  if (code == kIllFormedUtf8) {
    *out++ = kNoCharacter;
  } else if (code > 0xFFFF) {
    *out++ = kNoCharacter;  // one for each half of the surrogate pair
    *out++ = kNoCharacter;
  } else {
    const std::uint16_t bytes = Big5Of(code);
    if (bytes > 0xFF) *out++ = static_cast<char>(bytes >> 8);
    *out++ = static_cast<char>(bytes & 0xFF);
  }
  return out;
}

void AppendUtf8(char16_t unit, std::string& out) {
  if (unit < 0x80) {
    out += static_cast<char>(unit);
  } else if (unit < 0x800) {
    out += static_cast<char>(0xC0 | unit >> 6);
    out += static_cast<char>(0x80 | (unit & 0x3F));
  } else {
    out += static_cast<char>(0xE0 | unit >> 12);
    out += static_cast<char>(0x80 | (unit >> 6 & 0x3F));
    out += static_cast<char>(0x80 | (unit & 0x3F));
  }
}

bool IsLead(unsigned char byte) {
  return byte >= 0x81 && byte <= 0xFE;
}

}  // namespace

bool Utf8ToCodePage950(std::string_view utf8, std::string& out) {
  out.clear();
  if (utf8.size() > kCodePageMaxBytes) return false;
  out.resize(utf8.size());
  char* to = out.data();
  for (std::size_t at = 0; at < utf8.size();) {
    const std::size_t run = AsciiRun(utf8, at);
    to = std::copy_n(utf8.data() + at, run, to);
    for (at += run; at < utf8.size() && static_cast<unsigned char>(utf8[at]) < 0x80; ++at) *to++ = utf8[at];
    for (; at < utf8.size() && static_cast<unsigned char>(utf8[at]) >= 0x80;) {
      const TUtf8Character character = DecodeUtf8(utf8.substr(at));
      to = PutBig5(character.code, to);
      at += character.bytes;
    }
  }
  out.resize(static_cast<std::size_t>(to - out.data()));
  return true;
}

bool CodePage950ToUtf8(std::string_view big5, std::string& out) {
  out.clear();
  if (big5.size() > kCodePageMaxBytes) return false;
  out.reserve(big5.size() + big5.size() / 2);
  for (std::size_t at = 0; at < big5.size(); ++at) {
    const auto byte = static_cast<unsigned char>(big5[at]);
    unsigned bytes = byte;
    // A lead byte consumes the next byte, whatever it is, except NUL.
    if (IsLead(byte) && at + 1 < big5.size() && big5[at + 1] != '\0')
      bytes = static_cast<unsigned>(byte) << 8 | static_cast<unsigned char>(big5[++at]);
    AppendUtf8(UnitOf(bytes), out);
  }
  return true;
}

}  // namespace Dova::Os
