#pragma once

#include <cstddef>
#include <cstring>
#include <string>

namespace Dova {

// Overwrites with zeros such that the compiler cannot remove the writes. Whole queues are wiped, so this does
// not work byte by byte.
inline void WipeBytes(void* bytes, std::size_t length) {
  static void* (*const volatile fill)(void*, int, std::size_t) = std::memset;
  fill(bytes, 0, length);
}

// Empties a text and overwrites its whole capacity.
inline void WipeText(std::string& text) {
  text.resize(text.capacity());
  WipeBytes(text.data(), text.size());
  text.clear();
}

}  // namespace Dova
