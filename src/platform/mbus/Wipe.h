#pragma once

#include <cstddef>
#include <string>

namespace Dova {

// Overwrites with zeros in a way that the compiler cannot leave out as useless.
inline void WipeBytes(void* bytes, std::size_t length) {
  auto* at = static_cast<volatile unsigned char*>(bytes);
  for (std::size_t i = 0; i < length; ++i) at[i] = 0;
}

// Empties a text and overwrites all the memory that it had, also what lay behind its end.
inline void WipeText(std::string& text) {
  text.resize(text.capacity());
  WipeBytes(text.data(), text.size());
  text.clear();
}

}  // namespace Dova
