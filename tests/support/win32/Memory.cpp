#include "support/Memory.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>

namespace TestSupport {
namespace {

constexpr std::size_t kPiece = 1 << 20;
char copy[kPiece];

bool IsWritable(const MEMORY_BASIC_INFORMATION& region) {
  return region.State == MEM_COMMIT && (region.Protect & (PAGE_GUARD | PAGE_NOACCESS)) == 0 &&
         (region.Protect & (PAGE_READWRITE | PAGE_EXECUTE_READWRITE | PAGE_WRITECOPY)) != 0;
}

}  // namespace

void LookAtMemory(std::size_t overlap, const TLook& look) {
  MEMORY_BASIC_INFORMATION region{};
  for (const char* next = nullptr; VirtualQuery(next, &region, sizeof region) != 0;) {
    const char* at = static_cast<const char*>(region.BaseAddress);
    next = at + region.RegionSize;
    if (!IsWritable(region)) continue;
    for (; at + overlap < next; at += kPiece - overlap) {
      if (at < copy + kPiece && copy < at + kPiece) continue;
      const std::size_t size = std::min(kPiece, static_cast<std::size_t>(next - at));
      SIZE_T count = 0;
      ReadProcessMemory(GetCurrentProcess(), at, copy, size, &count);
      look({copy, count});
    }
  }
}

}  // namespace TestSupport
