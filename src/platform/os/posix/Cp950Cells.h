// The characters of code page 950 in the order of their bytes.
#pragma once

#include <cstdint>

namespace Dova::Os::Cp950 {

#include "platform/os/posix/cp950_table.inc"

constexpr char16_t kNone = u'\uFFFD';

// Cells number all pairs of a lead byte, from 0x81 on, and a trail byte, 0x40 to 0x7E or 0xA1 to 0xFE.
constexpr unsigned kTrails = 157, kLowTrails = 63, kNoCell = 0xFFFF;

constexpr unsigned CellOf(unsigned pair) {
  const unsigned row = ((pair >> 8) - 0x81) * kTrails, trail = pair & 0xFF;
  if (trail >= 0x40 && trail <= 0x7E) return row + trail - 0x40;
  if (trail >= 0xA1 && trail <= 0xFE) return row + kLowTrails + trail - 0xA1;
  return kNoCell;
}

constexpr std::uint16_t PairOf(unsigned cell) {
  const unsigned lead = 0x81 + cell / kTrails, at = cell % kTrails;
  return static_cast<std::uint16_t>(lead << 8 | (at < kLowTrails ? 0x40 + at : 0xA1 + at - kLowTrails));
}

constexpr unsigned kFirstCell = CellOf(0xA140), kCells = sizeof kCharacters / sizeof *kCharacters - 1;
static_assert(kCells == CellOf(0xF9FE) + 1 - kFirstCell);

// Runs of cells with user-defined characters, which follow one another.
constexpr char16_t kFirstUserDefined = u'\uE000';
struct TRun {
  unsigned first, count;
};
constexpr TRun RunOf(unsigned first, unsigned last) {
  return {CellOf(first), CellOf(last) + 1 - CellOf(first)};
}
constexpr TRun kUserDefined[] = {RunOf(0xFA40, 0xFEFE), RunOf(0x8E40, 0xA0FE), RunOf(0x8140, 0x8DFE),
                                 RunOf(0xC6A1, 0xC8FE)};

constexpr char16_t UserDefinedOf(unsigned cell) {
  unsigned unit = kFirstUserDefined;
  for (const TRun& run : kUserDefined) {
    if (cell - run.first < run.count) return static_cast<char16_t>(unit + cell - run.first);
    unit += run.count;
  }
  return kNone;
}

// The character of a pair of bytes, or kNone.
constexpr char16_t CharacterOf(unsigned pair) {
  const unsigned cell = CellOf(pair), at = cell - kFirstCell;
  return at < kCells && kCharacters[at] != kNone ? kCharacters[at] : UserDefinedOf(cell);
}

}  // namespace Dova::Os::Cp950
