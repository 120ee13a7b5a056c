// Copies texts into the caller's buffers.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

#include "flat/ForcedUnwind.h"

namespace VekApi::Flat {

// Copies as much of a UTF-8 text as fits, without splitting a character. Returns the length of the whole
// text.
inline std::uint32_t PutUtf8(const std::string& text, char* out, std::uint32_t room) {
  if (!out || room == 0) return static_cast<std::uint32_t>(text.size());
  std::size_t length = std::min<std::size_t>(text.size(), room - 1);
  while (length > 0 && length < text.size() && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80)
    --length;
  out[text.copy(out, length)] = '\0';
  return static_cast<std::uint32_t>(text.size());
}

// The same for the text returned by `make`; 0 if it throws.
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
