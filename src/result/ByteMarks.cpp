#include "result/ByteMarks.h"

#include <immintrin.h>

#include <bit>
#include <utility>

#include "platform/os/Processor.h"
#include "result/TextMarks.h"

namespace VekApi {
namespace {

const bool kWide = Dova::Os::HasAvx2();  // false before it is initialised, which is only slower

// Part of a block, from byte `at` on. The position is a constant: shifts by a variable are slow.
template <unsigned at>
inline void CutPart(const char* text, char* out, TByteMarks& marks) {
  const auto mask = [](__m128i bytes) {
    return std::uint64_t{static_cast<std::uint32_t>(_mm_movemask_epi8(bytes))} << at;
  };
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + at));
  const __m128i lines = _mm_cmpeq_epi8(bytes, _mm_set1_epi8(kLineEnd));
  const __m128i cuts = _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(kValueEnd)), lines);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + at), _mm_andnot_si128(cuts, bytes));
  marks.cuts |= mask(cuts);
  marks.lines |= mask(lines);
  marks.nuls |= mask(_mm_cmpeq_epi8(bytes, _mm_setzero_si128()));
}

template <unsigned at>
VEKAPI_TARGET_AVX2 inline void CutWidePart(const char* text, char* out, TByteMarks& marks) {
  const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + at));
  const __m256i lines = _mm256_cmpeq_epi8(bytes, _mm256_set1_epi8(kLineEnd));
  const __m256i cuts = _mm256_or_si256(_mm256_cmpeq_epi8(bytes, _mm256_set1_epi8(kValueEnd)), lines);
  const __m256i nuls = _mm256_cmpeq_epi8(bytes, _mm256_setzero_si256());
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + at), _mm256_andnot_si256(cuts, bytes));
  marks.cuts |= std::uint64_t{static_cast<std::uint32_t>(_mm256_movemask_epi8(cuts))} << at;
  marks.lines |= std::uint64_t{static_cast<std::uint32_t>(_mm256_movemask_epi8(lines))} << at;
  marks.nuls |= std::uint64_t{static_cast<std::uint32_t>(_mm256_movemask_epi8(nuls))} << at;
}

// Puts the positions behind the lowest bits, without asking whether there are as many; unrolled.
template <std::size_t... i>
inline void PutLowest(std::uint64_t& cuts, std::uint32_t behind, std::uint32_t* starts,
                      std::index_sequence<i...>) {
  constexpr std::uint64_t kNotZero = std::uint64_t{1} << 63;  // counting the zeros of nothing takes a branch
  const auto next = [&] {
    const auto bit = static_cast<std::uint32_t>(std::countr_zero(cuts | kNotZero));
    cuts &= cuts - 1;
    return behind + bit;
  };
  ((starts[i] = next()), ...);
}

constexpr std::size_t kStartsAtOnce = 8;
static_assert(kMarkedBytes % kStartsAtOnce == 0, "a block never needs more room than it has bytes");

// A value starts after each separator, and after each line end as the next record's first value. Several are
// written at a time, possibly beyond the count: the loop count is then easier to predict.
inline void PutStarts(std::uint64_t cuts, std::size_t count, TCutting& cutting) {
  for (std::size_t put = 0; put < count; put += kStartsAtOnce)
    PutLowest(cuts, cutting.at + 1, cutting.starts + put, std::make_index_sequence<kStartsAtOnce>());
  cutting.starts += count;
  cutting.text += kMarkedBytes;
  cutting.out += kMarkedBytes;
  cutting.at += kMarkedBytes;
}

inline void EndAtNul(TByteMarks& block) {
  const std::uint64_t before = (block.nuls & -block.nuls) - 1;
  block.cuts &= before;
  block.lines &= before;
}

VEKAPI_TARGET_AVX2 std::size_t CutBlocksWide(TCutting& cutting, std::size_t blocks, TByteMarks* marks) {
  TCutting to = cutting;
  const std::uint32_t* const lastStarts = to.startsEnd - kMarkedBytes;
  std::size_t done = 0;
  while (done < blocks && to.starts <= lastStarts) {
    TByteMarks block{0, 0, 0, to.starts};
    CutWidePart<0>(to.text, to.out, block);
    CutWidePart<32>(to.text, to.out, block);
    if (block.nuls) EndAtNul(block);
    PutStarts(block.cuts, static_cast<std::size_t>(_mm_popcnt_u64(block.cuts)), to);
    marks[done++] = block;
    if (block.nuls) break;
  }
  cutting = to;
  return done;
}

}  // namespace

std::size_t CutBlocksPlainly(TCutting& cutting, std::size_t blocks, TByteMarks* marks) noexcept {
  TCutting to = cutting;
  const std::uint32_t* const lastStarts = to.startsEnd - kMarkedBytes;
  std::size_t done = 0;
  while (done < blocks && to.starts <= lastStarts) {
    TByteMarks block{0, 0, 0, to.starts};
    CutPart<0>(to.text, to.out, block);
    CutPart<16>(to.text, to.out, block);
    CutPart<32>(to.text, to.out, block);
    CutPart<48>(to.text, to.out, block);
    if (block.nuls) EndAtNul(block);
    PutStarts(block.cuts, CountBits(block.cuts), to);
    marks[done++] = block;
    if (block.nuls) break;
  }
  cutting = to;
  return done;
}

std::size_t CutBlocks(TCutting& cutting, std::size_t blocks, TByteMarks* marks) noexcept {
  return kWide ? CutBlocksWide(cutting, blocks, marks) : CutBlocksPlainly(cutting, blocks, marks);
}

}  // namespace VekApi
