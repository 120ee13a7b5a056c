// The bytes in code page 950 of the characters that have any. The compiler computes the index from
// cp950_table.inc.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <iterator>

#include "platform/os/posix/Cp950Cells.h"

namespace Dova::Os::Cp950 {

constexpr unsigned kBlock = 64;  // cells; their number then fits in a byte

// The cell of each character, counted from 1; 0 if there is none.
struct TAllCells {
  std::uint16_t of[0x10000] = {};
};

constexpr TAllCells AllCells() {
  TAllCells cells;
  for (std::uint16_t at = 0; at < kCells; ++at) {
    if (kCharacters[at] != kNone) cells.of[kCharacters[at]] = at + 1;
  }
  for (const std::uint16_t pair : kWritten)
    cells.of[CharacterOf(pair)] = static_cast<std::uint16_t>(CellOf(pair) - kFirstCell + 1);
  return cells;
}

constexpr TAllCells kAllCells = AllCells();  // does not become part of the program

struct TCounts {
  unsigned characters = 0, pages = 0;
};

constexpr TCounts Count() {
  TCounts counts;
  unsigned page = 0x100;
  for (unsigned unit = 0; unit < 0x10000; ++unit) {
    if (!kAllCells.of[unit]) continue;
    ++counts.characters;
    if (unit >> 8 != page) ++counts.pages;
    page = unit >> 8;
  }
  return counts;
}

constexpr TCounts kCounts = Count();

// Which of 256 characters have cells, and where the blocks of each 64 begin.
struct TPage {
  std::uint64_t has[4] = {};
  std::uint16_t first[4] = {};
};

struct TIndex {
  std::uint8_t pageOf[256] = {};  // page 0 has none
  TPage pages[kCounts.pages + 1];
  std::uint8_t blocks[kCounts.characters] = {};
};

constexpr TIndex MakeIndex() {
  TIndex index;
  std::uint8_t pages = 0;
  std::uint16_t count = 0;
  for (unsigned unit = 0; unit < 0x10000; ++unit) {
    if (!kAllCells.of[unit]) continue;
    std::uint8_t& place = index.pageOf[unit >> 8];
    if (place == 0) place = ++pages;
    TPage& page = index.pages[place];
    const unsigned part = unit >> 6 & 3;
    if (page.has[part] == 0) page.first[part] = count;
    page.has[part] |= std::uint64_t{1} << (unit & 63);
    index.blocks[count++] = static_cast<std::uint8_t>((kAllCells.of[unit] - 1u) / kBlock);
  }
  return index;
}

constexpr TIndex kIndex = MakeIndex();

// Compares the whole block, which takes no branches: the compiler does it eight cells at a time.
inline unsigned FindIn(unsigned block, char16_t unit) {
  const unsigned first = std::min(block * kBlock, kCells - kBlock);
  std::uint16_t at = 0;
  for (std::uint16_t i = 0; i < kBlock; ++i) at |= kCharacters[first + i] == unit ? i : std::uint16_t{0};
  return first + at;
}

// The bytes of a character that is neither ASCII nor user-defined, or of its best fit; 0 if there are none.
inline std::uint16_t BytesOf(char16_t unit) {
  const TPage& page = kIndex.pages[kIndex.pageOf[unit >> 8]];
  const unsigned part = unit >> 6 & 3;
  const std::uint64_t bit = std::uint64_t{1} << (unit & 63);
  if (page.has[part] & bit) {
    const int before = std::popcount(page.has[part] & (bit - 1));
    return PairOf(kFirstCell + FindIn(kIndex.blocks[page.first[part] + before], unit));
  }
  const TBestFit* const fit = std::ranges::lower_bound(kBestFits, unit, {}, &TBestFit::missing);
  if (fit == std::end(kBestFits) || fit->missing != unit) return 0;
  return fit->instead < 0x80 ? fit->instead : BytesOf(fit->instead);
}

}  // namespace Dova::Os::Cp950
