// The line at the start of a result's text that names its encoding.
#pragma once

#include <cstddef>
#include <string_view>

namespace VekApi {

// "UTF8", "UTF-8", and any other text with the 8 at the same position.
inline bool IsEncodingLine(std::string_view line) {
  return (line.size() == 4 && line[3] == '8') || (line.size() == 5 && line[3] == '-' && line[4] == '8');
}

// Of an encoding line.
inline bool SaysUtf(std::string_view line) {
  const auto is = [&](std::size_t at, char capital) {
    return line[at] == capital || line[at] == capital - 'A' + 'a';
  };
  return is(0, 'U') && is(1, 'T') && is(2, 'F');
}

}  // namespace VekApi
