// Reading UTF-8 that may be ill-formed, the same way on every system.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Dova::Os {

struct TUtf8Character {
  std::uint32_t code;  // kIllFormedUtf8: none
  std::size_t bytes;   // that it takes up
};

inline constexpr std::uint32_t kIllFormedUtf8 = 0xFFFFFFFF;

// The character that `text`, which is not empty, starts with. An ill-formed sequence counts as one character;
// it takes trail bytes along and never a byte below 0x80: a line feed or separator behind a character that
// was cut is still there.
TUtf8Character DecodeUtf8(std::string_view text) noexcept;

}  // namespace Dova::Os
