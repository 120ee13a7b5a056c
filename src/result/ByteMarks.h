// Positions of the control bytes within 64 bytes of text, as bits: SSE2, which every x86-64 has, or plain
// C++.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#if defined(__SSE2__) || defined(_M_X64)
#define VEKAPI_SSE2 1
#include <emmintrin.h>
#endif

#include "result/TextMarks.h"

namespace VekApi {

inline constexpr std::size_t kMarkedBytes = 64;

struct TByteMarks {
  std::uint64_t cuts;   // bit i: byte i is a value separator or a line end
  std::uint64_t lines;  // line ends only
  std::uint64_t nuls;
};

// Copies kMarkedBytes from `text` to `out`, replacing each value separator and line end by NUL.
inline TByteMarks CopyCuttingPlainly(const char* text, char* out) {
  TByteMarks marks{0, 0, 0};
  for (unsigned at = 0; at < kMarkedBytes; ++at) {
    const std::uint64_t bit = std::uint64_t{1} << at;
    const bool line = text[at] == kLineEnd;
    const bool cut = line || text[at] == kValueEnd;
    out[at] = cut ? '\0' : text[at];
    if (line) marks.lines |= bit;
    if (cut) marks.cuts |= bit;
    if (text[at] == '\0') marks.nuls |= bit;
  }
  return marks;
}

// Upper bounds of what a text may contain, to reserve memory in advance.
struct TMarkCounts {
  std::size_t values = 0;  // value separators
  std::size_t lines = 0;
  std::size_t marked = 0;  // lines starting with a table or fields mark, which are not records
};

// Counts the marks of a text except its first byte, which only determines what starts after it.
inline void CountMarksPlainly(std::string_view text, TMarkCounts& counts) {
  for (std::size_t at = 1; at < text.size(); ++at) {
    if (text[at] == kValueEnd) ++counts.values;
    if (text[at - 1] != kLineEnd) continue;
    ++counts.lines;
    if (text[at] == kTableMark || text[at] == kFieldsMark) ++counts.marked;
  }
}

#ifdef VEKAPI_SSE2

inline std::uint64_t MaskOf(__m128i bytes) {
  return static_cast<std::uint32_t>(_mm_movemask_epi8(bytes));
}

// Sixteen bytes of CopyCutting, from `at` on. The position is a constant: shifts by a variable are slow.
template <unsigned at>
inline void CopyCutting16(const char* text, char* out, TByteMarks& marks) {
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + at));
  const __m128i lines = _mm_cmpeq_epi8(bytes, _mm_set1_epi8(kLineEnd));
  const __m128i cuts = _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(kValueEnd)), lines);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + at), _mm_andnot_si128(cuts, bytes));
  marks.cuts |= MaskOf(cuts) << at;
  marks.lines |= MaskOf(lines) << at;
  marks.nuls |= MaskOf(_mm_cmpeq_epi8(bytes, _mm_setzero_si128())) << at;
}

// CopyCuttingPlainly with SSE2.
inline TByteMarks CopyCutting(const char* text, char* out) {
  TByteMarks marks{0, 0, 0};
  CopyCutting16<0>(text, out, marks);
  CopyCutting16<16>(text, out, marks);
  CopyCutting16<32>(text, out, marks);
  CopyCutting16<48>(text, out, marks);
  return marks;
}

inline std::size_t SumOfLanes(__m128i counts) {
  const __m128i sums = _mm_sad_epu8(counts, _mm_setzero_si128());
  return static_cast<std::size_t>(_mm_cvtsi128_si64(sums) + _mm_cvtsi128_si64(_mm_srli_si128(sums, 8)));
}

// CountMarksPlainly with SSE2. After this many blocks a lane's count could overflow its byte.
inline void CountMarks(std::string_view text, TMarkCounts& counts) {
  constexpr std::size_t kBlock = 16;
  constexpr std::size_t kMostBlocks = 255;
  const __m128i nothing = _mm_setzero_si128();
  while (text.size() > kBlock) {
    __m128i values = nothing;
    __m128i lines = nothing;
    __m128i marked = nothing;
    const std::size_t size = std::min((text.size() - 1) / kBlock, kMostBlocks) * kBlock;
    for (const char* at = text.data(); at < text.data() + size; at += kBlock) {
      const __m128i before = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
      const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at + 1));
      const __m128i starts = _mm_cmpeq_epi8(before, _mm_set1_epi8(kLineEnd));
      // The two marks differ in their lowest bit only.
      const __m128i marks = _mm_cmpeq_epi8(_mm_or_si128(bytes, _mm_set1_epi8(1)), _mm_set1_epi8(kFieldsMark));
      values = _mm_sub_epi8(values, _mm_cmpeq_epi8(bytes, _mm_set1_epi8(kValueEnd)));
      lines = _mm_sub_epi8(lines, starts);
      marked = _mm_sub_epi8(marked, _mm_and_si128(starts, marks));
    }
    counts.values += SumOfLanes(values);
    counts.lines += SumOfLanes(lines);
    counts.marked += SumOfLanes(marked);
    text.remove_prefix(size);
  }
  CountMarksPlainly(text, counts);
}

#else

inline TByteMarks CopyCutting(const char* text, char* out) {
  return CopyCuttingPlainly(text, out);
}

inline void CountMarks(std::string_view text, TMarkCounts& counts) {
  CountMarksPlainly(text, counts);
}

#endif

// Avoids the popcount instruction: not every x86-64 has it, and compilers replace it by a call.
inline unsigned CountBits(std::uint64_t bits) {
  bits -= (bits >> 1) & 0x5555555555555555u;
  bits = (bits & 0x3333333333333333u) + ((bits >> 2) & 0x3333333333333333u);
  bits = (bits + (bits >> 4)) & 0x0F0F0F0F0F0F0F0Fu;
  return static_cast<unsigned>((bits * 0x0101010101010101u) >> 56);
}

inline std::uint64_t BitsBelow(unsigned bit) {
  return (std::uint64_t{1} << bit) - 1;
}

}  // namespace VekApi
