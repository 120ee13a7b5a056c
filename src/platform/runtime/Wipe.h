#pragma once

#include <cstddef>
#include <cstring>
#include <string>

namespace Dova {

// Overwrites with zeros in a way that the compiler cannot leave out as useless: it does not know what the
// pointer points to. Whole queues are wiped, so not byte by byte.
inline void WipeBytes(void* bytes, std::size_t length) {
  static void* (*const volatile fill)(void*, int, std::size_t) = std::memset;
  fill(bytes, 0, length);
}

// Empties a text and overwrites all the memory that it had, also what lay behind its end.
inline void WipeText(std::string& text) {
  text.resize(text.capacity());
  WipeBytes(text.data(), text.size());
  text.clear();
}

}  // namespace Dova
