// Cuts text into values, in blocks of 64 bytes, and marks the control bytes of each block as bits.
#pragma once

#include <cstddef>
#include <cstdint>

namespace VekApi {

inline constexpr std::size_t kMarkedBytes = 64;

struct TByteMarks {
  std::uint64_t cuts;   // bit i: byte i is a value separator or a line end
  std::uint64_t lines;  // line ends only
  std::uint64_t nuls;
  std::uint32_t* starts;  // the starts that the cuts make
};

struct TCutting {
  const char* text;
  char* out;
  std::uint32_t at;  // position of `text` in the whole text
  std::uint32_t* starts;
  const std::uint32_t* startsEnd;  // of the room for them
};

// Copies up to `blocks` blocks of kMarkedBytes from `text` to `out`, replacing each value separator and line
// end by NUL, writes the position after each to `starts`, and marks each block. Moves `cutting` on. Stops
// after a block with a NUL, whose cuts and lines after it do not count, and before one that might have more
// starts than there is room for. Returns the number of blocks. Uses the widest vectors the processor has.
std::size_t CutBlocks(TCutting& cutting, std::size_t blocks, TByteMarks* marks) noexcept;

// The same with the instructions that every x86-64 has.
std::size_t CutBlocksPlainly(TCutting& cutting, std::size_t blocks, TByteMarks* marks) noexcept;

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
