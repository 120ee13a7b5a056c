// The bytes in code page 950 of the characters that have any. The compiler computes the index from
// cp950_table.inc.
#pragma once

#include <bit>
#include <cstdint>

#include "platform/os/posix/Cp950Cells.h"

namespace Dova::Os::Cp950 {

// By character; 0 if there are none. Without ASCII and user-defined characters.
struct TAllBytes {
  std::uint16_t of[0x10000] = {};
};

constexpr TAllBytes AllBytes() {
  TAllBytes bytes;
  for (unsigned at = 0; at < kCells; ++at) {
    if (kCharacters[at] != kNone) bytes.of[kCharacters[at]] = PairOf(kFirstCell + at);
  }
  for (const std::uint16_t pair : kWritten) bytes.of[CharacterOf(pair)] = pair;
  for (const char16_t* fit = kBestFits; *fit; fit += 2)
    bytes.of[fit[0]] = fit[1] < 0x80 ? fit[1] : bytes.of[fit[1]];
  return bytes;
}

constexpr TAllBytes kAllBytes = AllBytes();  // does not become part of the program

struct TCounts {
  unsigned characters = 0, pages = 0;
};

constexpr TCounts Count() {
  TCounts counts;
  unsigned page = 0x100;
  for (unsigned unit = 0; unit < 0x10000; ++unit) {
    if (!kAllBytes.of[unit]) continue;
    ++counts.characters;
    if (unit >> 8 != page) ++counts.pages;
    page = unit >> 8;
  }
  return counts;
}

constexpr TCounts kCounts = Count();

// Which of 256 characters have bytes, and where those of each 64 begin.
struct TPage {
  std::uint64_t has[4] = {};
  std::uint16_t first[4] = {};
};

struct TIndex {
  std::uint8_t pageOf[256] = {};  // page 0 has none
  TPage pages[kCounts.pages + 1];
  std::uint16_t bytes[kCounts.characters] = {};
};

constexpr TIndex MakeIndex() {
  TIndex index;
  std::uint8_t pages = 0;
  std::uint16_t count = 0;
  for (unsigned unit = 0; unit < 0x10000; ++unit) {
    if (!kAllBytes.of[unit]) continue;
    std::uint8_t& place = index.pageOf[unit >> 8];
    if (place == 0) place = ++pages;
    TPage& page = index.pages[place];
    const unsigned part = unit >> 6 & 3;
    if (page.has[part] == 0) page.first[part] = count;
    page.has[part] |= std::uint64_t{1} << (unit & 63);
    index.bytes[count++] = kAllBytes.of[unit];
  }
  return index;
}

constexpr TIndex kIndex = MakeIndex();

// 0 if there are none.
constexpr std::uint16_t BytesOf(unsigned unit) {
  const TPage& page = kIndex.pages[kIndex.pageOf[unit >> 8]];
  const unsigned part = unit >> 6 & 3;
  const std::uint64_t bit = std::uint64_t{1} << (unit & 63);
  if (!(page.has[part] & bit)) return PairOfUserDefined(unit);
  return kIndex.bytes[page.first[part] + static_cast<unsigned>(std::popcount(page.has[part] & (bit - 1)))];
}

}  // namespace Dova::Os::Cp950
