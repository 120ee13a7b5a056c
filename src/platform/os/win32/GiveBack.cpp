#include "platform/os/GiveBack.h"

#include <windows.h>

namespace Dova::Os {
namespace {

constexpr std::size_t kPageBytes = 4096;  // of x86-64

}  // namespace

// Unlocking memory that is not locked takes it out of the working set; reset memory is not written to the
// paging file.
void GiveBack(char* memory, std::size_t size) noexcept {
  const TWholePages pages(memory, size, kPageBytes);
  if (pages.bytes == 0) return;
  VirtualAlloc(pages.first, pages.bytes, MEM_RESET, PAGE_READWRITE);
  VirtualUnlock(pages.first, pages.bytes);
}

}  // namespace Dova::Os
