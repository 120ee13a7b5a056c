// Lines of a result text.
#pragma once

#include <emmintrin.h>

#include <bit>
#include <cstddef>
#include <string_view>

#include "result/TWork.h"
#include "result/TextMarks.h"

namespace VekApi {

// Position of the first of two bytes; the text's size if there is none.
inline std::size_t FirstOf(std::string_view text, char one, char other) {
  constexpr std::size_t kBlock = 16;
  const __m128i ones = _mm_set1_epi8(one);
  const __m128i others = _mm_set1_epi8(other);
  std::size_t at = 0;
  for (; text.size() - at >= kBlock; at += kBlock) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + at));
    const __m128i either = _mm_or_si128(_mm_cmpeq_epi8(bytes, ones), _mm_cmpeq_epi8(bytes, others));
    const auto found = static_cast<unsigned>(_mm_movemask_epi8(either));
    if (found) return at + static_cast<std::size_t>(std::countr_zero(found));
  }
  while (at < text.size() && text[at] != one && text[at] != other) ++at;
  return at;
}

// Position of the first of two bytes at or after `from`; the text's size if there is none or the work stops.
inline std::size_t FindEither(std::string_view text, std::size_t from, char one, char other, TWork& work) {
  while (from < text.size()) {
    const std::string_view piece = text.substr(from, TWork::kPiece);
    const std::size_t end = FirstOf(piece, one, other);
    if (end < piece.size()) return from + end;
    if (work.Spend(piece.size())) break;
    from += piece.size();
  }
  return text.size();
}

// End of the line containing `from`: at a line end, a NUL, or the end of the text.
inline std::size_t LineEnd(std::string_view text, std::size_t from, TWork& work) {
  return FindEither(text, from, kLineEnd, '\0', work);
}

// Start of the next line; the text's size if a NUL or the end of the text ended this one.
inline std::size_t NextLine(std::string_view text, std::size_t end) {
  return end < text.size() && text[end] == kLineEnd ? end + 1 : text.size();
}

// True at the end of the text and at the start of a line that is not a record.
inline bool EndsRecords(std::string_view text, std::size_t at) {
  return at >= text.size() || text[at] == '\0' || text[at] == kTableMark || text[at] == kFieldsMark;
}

// The name at the start of a properties text.
inline std::string_view NameOf(std::string_view properties, TWork& work) {
  return properties.substr(0, FindEither(properties, 0, kPartEnd, '\0', work));
}

// True if a text starts with a name; false if the work stops.
inline bool StartsWith(std::string_view text, std::string_view name, TWork& work) {
  while (!name.empty()) {
    const std::string_view piece = name.substr(0, TWork::kPiece);
    if (!text.starts_with(piece) || work.Spend(piece.size())) return false;
    text.remove_prefix(piece.size());
    name.remove_prefix(piece.size());
  }
  return true;
}

}  // namespace VekApi
