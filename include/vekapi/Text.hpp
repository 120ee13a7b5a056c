// Texts for C++20, header-only, over the flat functions. The server's texts are bytes in code page 950
// (ToUtf8); the library's are UTF-8.
#ifndef VEKAPI_TEXT_HPP
#define VEKAPI_TEXT_HPP

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "vekapi/VekSessionC.h"

namespace VekApi {

// Converts code page 950 to UTF-8.
inline std::string ToUtf8(std::string_view big5) {
  const auto length = static_cast<std::uint32_t>(big5.size());
  std::string text(CVekApi_ToUtf8(big5.data(), length, nullptr, 0) + 1u, '\0');
  CVekApi_ToUtf8(big5.data(), length, text.data(), static_cast<std::uint32_t>(text.size()));
  text.pop_back();  // the NUL
  return text;
}

// Describes an event in one line for a log.
inline std::string Describe(const CVekEvent& event) {
  std::string line(CVekApi_Describe(&event, nullptr, 0) + 1u, '\0');
  CVekApi_Describe(&event, line.data(), static_cast<std::uint32_t>(line.size()));
  line.pop_back();
  return line;
}

namespace Detail {

// Null becomes "".
inline std::string_view View(const char* text) {
  return text != nullptr ? std::string_view(text) : std::string_view();
}

// A buffer for the functions that send requests: five bytes for the library, then the text.
inline std::string RequestBuffer(std::string_view text) {
  std::string buffer(5, ' ');
  buffer += text;
  return buffer;
}

// A length for the flat functions. One that does not fit stays too long, so that they refuse it instead of
// sending the text's beginning. Parentheses keep a macro of Windows away.
inline std::uint32_t Length(std::uint64_t length) {
  return static_cast<std::uint32_t>((std::min<std::uint64_t>)(length, 0xFFFFFFFF));
}

}  // namespace Detail
}  // namespace VekApi

#endif  // VEKAPI_TEXT_HPP
