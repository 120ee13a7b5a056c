#pragma once

#include <new>
#include <string>
#include <string_view>

namespace Dova {

// For texts that only explain: what they explain must not be lost with them. Empty without memory.
inline std::string CopyIfMemory(std::string_view text) noexcept try {
  return std::string(text);
} catch (const std::bad_alloc&) {
  return {};
}

}  // namespace Dova
