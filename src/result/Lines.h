// Lines of a result text.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "result/TWork.h"
#include "result/TextMarks.h"

namespace VekApi {

// Where the line that `from` lies in ends: at a line end, a NUL, or with the text, where the search also ends
// when the work stops.
inline std::size_t LineEnd(std::string_view text, std::size_t from, TWork& work) {
  while (from < text.size()) {
    const std::string_view piece = text.substr(from, TWork::kPiece);
    const std::string_view line = piece.substr(0, piece.find(kLineEnd));
    const std::size_t end = std::min(line.find('\0'), line.size());
    if (end < piece.size()) return from + end;
    if (work.Spend(piece.size())) break;
    from += piece.size();
  }
  return text.size();
}

// Where the next line starts; the text's size when a NUL or the text itself ended this one.
inline std::size_t NextLine(std::string_view text, std::size_t end) {
  return end < text.size() && text[end] == kLineEnd ? end + 1 : text.size();
}

// True at the text's end and where a line starts that is no record.
inline bool EndsRecords(std::string_view text, std::size_t at) {
  return at >= text.size() || text[at] == '\0' || text[at] == kTableMark || text[at] == kFieldsMark;
}

// The name in front of a properties text.
inline std::string_view NameOf(std::string_view properties) {
  return properties.substr(0, properties.find(kPartEnd));
}

}  // namespace VekApi
