#include "platform/os/GiveBack.h"

#include <sys/mman.h>
#include <unistd.h>

namespace Dova::Os {

void GiveBack(char* memory, std::size_t size) noexcept {
  const TWholePages pages(memory, size, static_cast<std::size_t>(sysconf(_SC_PAGESIZE)));
  if (pages.bytes != 0) madvise(pages.first, pages.bytes, MADV_DONTNEED);
}

}  // namespace Dova::Os
