#include "sim/SimText.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace VekSim {

namespace {

struct Big5Entry {
  char32_t character;
  std::uint16_t big5;
};

constexpr Big5Entry kBig5[] = {
#include "sim/SimBig5.inc"
};

/// Removes one character from the front; ill-formed sequences are returned byte by byte.
char32_t TakeCharacter(std::string_view& utf8) {
  const auto byte = [&](std::size_t i) { return static_cast<char32_t>(static_cast<unsigned char>(utf8[i])); };
  const char32_t first = byte(0);
  const std::size_t length = first < 0xE0 ? (first < 0xC0 ? 1 : 2) : (first < 0xF0 ? 3 : 4);
  if (length == 1 || length > utf8.size()) {
    utf8.remove_prefix(1);
    return first;
  }
  char32_t character = first & (0xFFu >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) character = character << 6 | (byte(i) & 0x3F);
  utf8.remove_prefix(length);
  return character;
}

void AppendProperties(std::string& text, std::string_view name,
                      std::initializer_list<ResultText::Pair> pairs) {
  text.append(name);
  for (const auto& [key, value] : pairs) {
    if (!value.empty()) text.append("\x04").append(key).append("=").append(value);
  }
}

}  // namespace

std::string ToBig5(std::string_view utf8) {
  std::string bytes;
  while (!utf8.empty()) {
    const char32_t character = TakeCharacter(utf8);
    const auto found =
        std::lower_bound(std::begin(kBig5), std::end(kBig5), character,
                         [](const Big5Entry& entry, char32_t c) { return entry.character < c; });
    if (character < 0x80) {
      bytes += static_cast<char>(character);
    } else if (found != std::end(kBig5) && found->character == character) {
      bytes += {static_cast<char>(found->big5 >> 8), static_cast<char>(found->big5 & 0xFF)};
    } else {
      bytes += '?';
    }
  }
  return bytes;
}

ResultText& ResultText::Table(std::string_view name, std::initializer_list<Pair> properties) {
  text_ += '\2';
  AppendProperties(text_, name, properties);
  text_ += '\n';
  return *this;
}

ResultText& ResultText::Fields(std::initializer_list<Pair> columns) {
  char lead = '\3';
  for (const auto& [name, display] : columns) {
    text_ += std::exchange(lead, '\1');
    AppendProperties(text_, name, {{"DisplayText", display}});
  }
  text_ += '\n';
  return *this;
}

ResultText& ResultText::Row(const std::vector<std::string>& values) {
  for (std::size_t i = 0; i < values.size(); ++i) text_.append(i > 0 ? "\x01" : "").append(values[i]);
  text_ += '\n';
  return *this;
}

std::string Encoded(const ResultText& text, bool utf8) {
  return utf8 ? "UTF8\n" + text.Text() : ToBig5(text.Text());
}

}  // namespace VekSim
