#pragma once

#include <cstddef>
#include <cstdint>

namespace Dova::Os {

// Lets the system reuse the pages that lie wholly within the memory. It stays allocated; its content becomes
// undefined.
void GiveBack(char* memory, std::size_t size) noexcept;

// The part of it that consists of whole pages.
struct TWholePages {
  TWholePages(char* memory, std::size_t size, std::size_t page) noexcept {
    const std::size_t before = (page - reinterpret_cast<std::uintptr_t>(memory) % page) % page;
    if (size < before) return;
    first = memory + before;
    bytes = (size - before) / page * page;
  }

  char* first = nullptr;
  std::size_t bytes = 0;
};

}  // namespace Dova::Os
