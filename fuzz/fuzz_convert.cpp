// Texts in UTF-8 and in code page 950, against the system's converter where both must agree: what is
// well-formed UTF-8, and the Chinese characters of Big5's two levels, which no vendor changed.
#include <cstring>
#include <memory>

#include "fuzz/Converter.h"
#include "fuzz/Input.h"
#include "platform/os/CodePage.h"
#include "platform/os/Utf8.h"
#include "vekapi/VekSessionC.h"

namespace {

using namespace Dova::Os;
using vekfuzz::Check;
using vekfuzz::Converter;

bool IsOfTheTwoLevels(std::string_view big5) {
  if (big5.size() != 2) return false;
  const auto code = static_cast<unsigned char>(big5[0]) << 8 | static_cast<unsigned char>(big5[1]);
  return (code >= 0xA440 && code <= 0xC67E) || (code >= 0xC940 && code <= 0xF9D5);
}

std::string ToBig5(std::string_view utf8) {
  std::string big5;
  Check(Utf8ToCodePage950(utf8, big5) && big5.size() <= utf8.size(), "never longer in code page 950");
  return big5;
}

std::string ToUtf8(std::string_view big5) {
  std::string utf8;
  Check(CodePage950ToUtf8(big5, utf8), "any bytes can be converted");
  return utf8;
}

// Returns whether all of it is well-formed.
bool CheckUtf8(std::string_view text) {
  static const Converter toCodes(Converter::kCodes, Converter::kUtf8),
      toBig5(Converter::kBig5, Converter::kUtf8);
  bool good = true;
  std::string pieces;
  for (std::size_t at = 0; at < text.size();) {
    const TUtf8Character character = DecodeUtf8(text.substr(at));
    Check(character.bytes >= 1 && character.bytes <= std::min<std::size_t>(4, text.size() - at), "its bytes");
    const std::string_view piece = text.substr(at, character.bytes);
    const std::string codes = toCodes.Convert(piece);
    Check((character.code == kIllFormedUtf8) == codes.empty(), "well-formed or not");
    good = good && !codes.empty();
    for (std::size_t i = 0; i < codes.size(); ++i)
      Check(static_cast<unsigned char>(codes[i]) == (character.code >> 8 * i & 0xFF), "a character's code");
    const std::string big5 = toBig5.Convert(piece);
    if (IsOfTheTwoLevels(big5)) Check(ToBig5(piece) == big5, "a Chinese character");
    pieces += ToBig5(piece);
    at += character.bytes;
  }
  Check(pieces == ToBig5(text), "in one piece as one by one");
  return good;
}

void CheckBig5(const std::string& text) {
  static const Converter toUtf8(Converter::kUtf8, Converter::kBig5);
  const std::string utf8 = ToUtf8(text);
  Check(CheckUtf8(utf8), "the result is well-formed");
  Check(ToUtf8(ToBig5(utf8)) == utf8, "there and back");
  for (std::size_t at = 0; at + 1 < text.size(); ++at) {
    const std::string pair = text.substr(at, 2);
    if (IsOfTheTwoLevels(pair) && !toUtf8.Convert(pair).empty())
      Check(ToUtf8(pair) == toUtf8.Convert(pair), "a Chinese character");
  }
}

// In every room: the start of the whole, up to a character's end.
void CheckFlat(const std::string& text) {
  const std::string whole = ToUtf8(text);
  const auto length = static_cast<std::uint32_t>(text.size());
  for (std::uint32_t room = 0; room < std::min<std::size_t>(whole.size() + 2, 40); ++room) {
    const std::unique_ptr<char[]> out(new char[room]);
    Check(CVekApi_ToUtf8(text.data(), length, out.get(), room) == whole.size(), "the bytes needed");
    if (room == 0) continue;
    const auto end = static_cast<const char*>(std::memchr(out.get(), '\0', room));
    const bool hasNul = whole.find('\0') != whole.npos;
    Check(end != nullptr, "its end");
    const std::string_view put(out.get(), static_cast<std::size_t>(end - out.get()));
    Check(whole.starts_with(put) && (hasNul || CheckUtf8(put)), "whole characters");
    Check(hasNul || put.size() + 4 >= std::min<std::size_t>(room, whole.size()), "as many as fit");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  CheckUtf8(text);
  CheckBig5(text);
  CheckFlat(text);
  return 0;
}
