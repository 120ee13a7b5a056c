// Finds numbers by names. The names and their hashes stay with the caller: a slot holds no more than a
// number, so that a million names cost their texts and little else.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace VekApi {

inline constexpr std::uint32_t kNone = 0xFFFFFFFF;

class TNameTable {
 public:
  // Forgets everything, and makes room for so many names.
  void Reset(std::size_t names) { slots_.assign(names + names / 7 + 1, kNone); }

  // How many names at the most differ, of names that take up `bytes` of text with the byte between them: only
  // few are shorter than two bytes.
  static std::size_t MostNames(std::size_t bytes) { return std::min(bytes / 2 + 1, bytes / 3 + 257); }

  // The slot of the number whose name has that hash and is the one, or the slot that it is to be put into.
  // `isNamed` tells whether a number has the name.
  template <class TIsNamed>
  std::uint32_t& Slot(std::uint64_t hash, const TIsNamed& isNamed) {
    return slots_[Place(hash, isNamed)];
  }

  // kNone when there is no such name.
  template <class TIsNamed>
  std::uint32_t Find(std::uint64_t hash, const TIsNamed& isNamed) const {
    return slots_.empty() ? kNone : slots_[Place(hash, isNamed)];
  }

  // Forgets everything; the memory stays if `room` is enough for it, which becomes smaller by that.
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
