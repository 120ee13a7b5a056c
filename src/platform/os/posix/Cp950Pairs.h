// The bytes in code page 950 of all characters.
#pragma once

#include <cstdint>

#include "platform/os/posix/Cp950Cells.h"

namespace Dova::Os::Cp950 {

// Both tables of characters, turned round. Pages of `pairs` that no character is on take no memory.
inline void FillPairs(std::uint16_t (&pairs)[0x10000]) {
  for (unsigned cell = 0; cell < kCells; ++cell) {
    if (kCharacters[cell] != kNone) pairs[kCharacters[cell]] = PairOf(kFirstCell + cell);
  }
  for (const std::uint16_t pair : kWritten) pairs[CharacterOf(pair)] = pair;
  char16_t unit = kFirstUserDefined;
  for (const TRun& run : kUserDefined) {
    for (unsigned at = 0; at < run.count; ++at) pairs[unit++] = PairOf(run.first + at);
  }
  for (const TBestFit& fit : kBestFits)
    pairs[fit.missing] = fit.instead < 0x80 ? fit.instead : pairs[fit.instead];
}

// The pair, or the single byte, of a character that is not ASCII, or of its best fit; 0 if there is none.
inline std::uint16_t PairOfCharacter(char16_t unit) {
  static std::uint16_t pairs[0x10000];  // 128 KB that the library's file does not hold
  [[maybe_unused]] static const bool filled = (FillPairs(pairs), true);
  return pairs[unit];
}

}  // namespace Dova::Os::Cp950
