#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "keeper/TEvent.h"

namespace VekApi {

// Maps the hash of an id to the pool entries that have it. The same id may occur more than once. Uses open
// addressing: growing and removing touch only the table.
class TIdTable {
 public:
  static std::uint32_t HashOf(std::string_view id) {
    const std::size_t size = std::min(id.size(), kIdRoom);
    if (size < kWord) return Mixed(WordAt(id, 0, size) ^ size);
    std::uint64_t sum = WordAt(id, 0) * kMix[0] + (WordAt(id, size - kWord) ^ size) * kMix[1];
    if (size > 2 * kWord) sum += WordAt(id, kWord) * kMix[2] + WordAt(id, size - 2 * kWord) * kMix[3];
    return Mixed(sum);
  }

  // Reserves space for `count` entries in total. Throws std::bad_alloc and then changes nothing.
  void Reserve(std::size_t count);

  void Put(std::uint32_t hash, std::uint32_t index) { slots_[FreeFor(hash)] = Slot(hash, index); }
  void Remove(std::uint32_t hash, std::uint32_t index);

  template <class TVisit>
  void ForEach(std::uint32_t hash, const TVisit& visit) const {
    if (slots_.empty()) return;
    for (std::size_t at = hash & Mask(); slots_[at] != kFree; at = (at + 1) & Mask()) {
      if (HashAt(at) == hash) visit(static_cast<std::uint32_t>(slots_[at]) - 1);
    }
  }

 private:
  static constexpr std::uint64_t kFree = 0;
  static constexpr std::size_t kWord = sizeof(std::uint64_t);
  static constexpr std::uint64_t kMix[] = {0x9E3779B97F4A7C15, 0xC2B2AE3D27D4EB4F, 0x165667B19E3779F9,
                                           0xD6E8FEB86659FD93};

  // Reads the id in place: after a copy, the load would have to wait for the store. The word is folded, so
  // that all of its bits affect the high bits of a product.
  static std::uint64_t WordAt(std::string_view id, std::size_t at, std::size_t length = kWord) {
    std::uint64_t word = 0;
    std::memcpy(&word, id.data() + at, length);
    return word ^ word >> 32;
  }
  static std::uint32_t Mixed(std::uint64_t sum) {
    return static_cast<std::uint32_t>((sum ^ sum >> 32) * kMix[0] >> 32);
  }

  static std::uint64_t Slot(std::uint32_t hash, std::uint32_t index) {
    return std::uint64_t{hash} << 32 | (index + 1);
  }
  std::uint32_t HashAt(std::size_t at) const { return static_cast<std::uint32_t>(slots_[at] >> 32); }
  std::size_t Mask() const { return slots_.size() - 1; }
  std::size_t FreeFor(std::uint32_t hash) const {
    std::size_t at = hash & Mask();
    while (slots_[at] != kFree) at = (at + 1) & Mask();
    return at;
  }

  std::vector<std::uint64_t> slots_;  // size is a power of two; at most half full
};

}  // namespace VekApi
