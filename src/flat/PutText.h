// Texts into buffers of the caller's.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

#include "flat/ForcedUnwind.h"

namespace VekApi::Flat {

// What of a UTF-8 text has room, with no character torn; how much all of it needs.
inline std::uint32_t PutUtf8(const std::string& text, char* out, std::uint32_t room) {
  if (!out || room == 0) return static_cast<std::uint32_t>(text.size());
  std::size_t length = std::min<std::size_t>(text.size(), room - 1);
  while (length > 0 && length < text.size() && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80)
    --length;
  out[text.copy(out, length)] = '\0';
  return static_cast<std::uint32_t>(text.size());
}

// The same with what `make` makes; 0 when it throws.
template <class Make>
std::uint32_t PutText(char* out, std::uint32_t room, Make make) {
  try {
    return PutUtf8(make(), out, room);
  } catch (...) {
    PassForcedUnwind();
    return 0;
  }
}

}  // namespace VekApi::Flat
