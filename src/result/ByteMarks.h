// Where the bytes that matter are within 64 bytes of text, as bits: SSE2, which every x86-64 has, or plain
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
  std::uint64_t lines;  // line ends alone
  std::uint64_t nuls;
};

// Copies kMarkedBytes from `text` to `out` with a NUL in place of each value separator and line end.
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

#ifdef VEKAPI_SSE2

// The same.
inline TByteMarks CopyCutting(const char* text, char* out) {
  const __m128i valueEnd = _mm_set1_epi8(kValueEnd);
  const __m128i lineEnd = _mm_set1_epi8(kLineEnd);
  const __m128i nul = _mm_setzero_si128();
  TByteMarks marks{0, 0, 0};
  for (unsigned at = 0; at < kMarkedBytes; at += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + at));
    const __m128i lines = _mm_cmpeq_epi8(bytes, lineEnd);
    const __m128i cuts = _mm_or_si128(_mm_cmpeq_epi8(bytes, valueEnd), lines);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + at), _mm_andnot_si128(cuts, bytes));
    const auto bits = [at](__m128i mask) {
      return static_cast<std::uint64_t>(static_cast<std::uint32_t>(_mm_movemask_epi8(mask))) << at;
    };
    marks.cuts |= bits(cuts);
    marks.lines |= bits(lines);
    marks.nuls |= bits(_mm_cmpeq_epi8(bytes, nul));
  }
  return marks;
}

// How often a byte is in a text of up to kCountedBytes: no count of a lane goes beyond its byte.
inline constexpr std::size_t kCountedBytes = 16 * 255;

inline std::size_t CountByte(std::string_view text, char byte) {
  const __m128i wanted = _mm_set1_epi8(byte);
  __m128i counts = _mm_setzero_si128();
  std::size_t at = 0;
  for (; text.size() - at >= 16; at += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + at));
    counts = _mm_sub_epi8(counts, _mm_cmpeq_epi8(bytes, wanted));
  }
  const __m128i sums = _mm_sad_epu8(counts, _mm_setzero_si128());
  return static_cast<std::size_t>(
      _mm_cvtsi128_si64(sums) + _mm_cvtsi128_si64(_mm_srli_si128(sums, 8)) +
      std::count(text.begin() + static_cast<std::ptrdiff_t>(at), text.end(), byte));
}

#else

inline constexpr std::size_t kCountedBytes = 4096;

inline std::size_t CountByte(std::string_view text, char byte) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), byte));
}

inline TByteMarks CopyCutting(const char* text, char* out) {
  return CopyCuttingPlainly(text, out);
}

#endif

// Without the instruction of its own, which not every x86-64 has and compilers replace by a call.
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
