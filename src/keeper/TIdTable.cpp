#include "keeper/TIdTable.h"

#include <utility>

namespace VekApi {

void TIdTable::Reserve(std::size_t count) {
  if (2 * count <= slots_.size()) return;
  std::size_t size = slots_.empty() ? 32 : slots_.size();
  while (2 * count > size) size *= 2;
  const std::vector<std::uint64_t> before = std::exchange(slots_, std::vector<std::uint64_t>(size));
  for (const std::uint64_t slot : before) {
    if (slot != kFree) slots_[FreeFor(static_cast<std::uint32_t>(slot >> 32))] = slot;
  }
}

// Moves later entries into the hole, except those that would then precede their home slot.
void TIdTable::Remove(std::uint32_t hash, std::uint32_t index) {
  std::size_t hole = hash & Mask();
  while (slots_[hole] != Slot(hash, index)) hole = (hole + 1) & Mask();
  for (std::size_t at = (hole + 1) & Mask(); slots_[at] != kFree; at = (at + 1) & Mask()) {
    const std::size_t home = HashAt(at) & Mask();
    if (((at - home) & Mask()) < ((at - hole) & Mask())) continue;
    slots_[hole] = slots_[at];
    hole = at;
  }
  slots_[hole] = kFree;
}

}  // namespace VekApi
