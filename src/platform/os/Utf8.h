// Decodes possibly ill-formed UTF-8, the same way on every system.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Dova::Os {

struct TUtf8Character {
  std::uint32_t code;  // kIllFormedUtf8 if ill-formed
  std::size_t bytes;   // length of the sequence
};

inline constexpr std::uint32_t kIllFormedUtf8 = 0xFFFFFFFF;

// Decodes the first character of `text`, which must not be empty. An ill-formed sequence counts as one
// character; it includes trail bytes but never a byte below 0x80, so a line feed or separator after a
// truncated character is preserved.
TUtf8Character DecodeUtf8(std::string_view text) noexcept;

}  // namespace Dova::Os
