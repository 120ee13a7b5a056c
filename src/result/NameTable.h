// Hash table from names to numbers. The caller keeps the names and their hashes: a slot holds only a number,
// so a million names cost little more than their texts.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace VekApi {

inline constexpr std::uint32_t kNone = 0xFFFFFFFF;

class TNameTable {
 public:
  // Clears the table and reserves space for `names` names.
  void Reset(std::size_t names) { slots_.assign(names + names / 7 + 1, kNone); }

  // Upper bound of the number of different names in `bytes` bytes of text, including separators: only few
  // names are shorter than two bytes.
  static std::size_t MostNames(std::size_t bytes) { return std::min(bytes / 2 + 1, bytes / 3 + 257); }

  // The slot of the number whose name has that hash and satisfies `isNamed`, or the free slot for it.
  template <class TIsNamed>
  std::uint32_t& Slot(std::uint64_t hash, const TIsNamed& isNamed) {
    return slots_[Place(hash, isNamed)];
  }

  // kNone if there is no such name.
  template <class TIsNamed>
  std::uint32_t Find(std::uint64_t hash, const TIsNamed& isNamed) const {
    return slots_.empty() ? kNone : slots_[Place(hash, isNamed)];
  }

  // Clears the table; keeps its memory if it fits into `room`, which is reduced by its size.
  void Clear(std::size_t& room) {
    const std::size_t bytes = slots_.capacity() * sizeof slots_[0];
    slots_.clear();
    if (bytes > room)
      std::vector<std::uint32_t>().swap(slots_);
    else
      room -= bytes;
  }

 private:
  template <class TIsNamed>
  std::size_t Place(std::uint64_t hash, const TIsNamed& isNamed) const {
    std::size_t place = static_cast<std::size_t>((hash >> 32) * slots_.size() >> 32);
    while (slots_[place] != kNone && !isNamed(slots_[place]))
      if (++place == slots_.size()) place = 0;
    return place;
  }

  std::vector<std::uint32_t> slots_;
};

}  // namespace VekApi
