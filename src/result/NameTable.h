// Finds numbers by names. The names stay with the caller: a slot holds no more than a number, so that a
// million names cost their texts and little else.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "result/KeyedHash.h"

namespace VekApi {

inline constexpr std::uint32_t kNone = 0xFFFFFFFF;

class TNameTable {
 public:
  // Forgets everything, and makes room for so many names.
  void Reset(std::size_t names) { slots_.assign(names + names / 7 + 1, kNone); }

  // How many names at the most differ, of names that take up `bytes` of text with the byte between them: only
  // few are shorter than two bytes.
  static std::size_t MostNames(std::size_t bytes) { return std::min(bytes / 2 + 1, bytes / 3 + 257); }

  // The slot of the number whose name that is, or the one it is to be put into. `isNamed` tells whether a
  // number has that name.
  template <class TIsNamed>
  std::uint32_t& Slot(std::string_view name, const TIsNamed& isNamed) {
    return slots_[Place(name, isNamed)];
  }

  // kNone when there is no such name.
  template <class TIsNamed>
  std::uint32_t Find(std::string_view name, const TIsNamed& isNamed) const {
    return slots_.empty() ? kNone : slots_[Place(name, isNamed)];
  }

  std::size_t KeptBytes() const { return slots_.capacity() * sizeof slots_[0]; }

 private:
  template <class TIsNamed>
  std::size_t Place(std::string_view name, const TIsNamed& isNamed) const {
    std::size_t place = static_cast<std::size_t>((KeyedHash(name) >> 32) * slots_.size() >> 32);
    while (slots_[place] != kNone && !isNamed(slots_[place]))
      if (++place == slots_.size()) place = 0;
    return place;
  }

  std::vector<std::uint32_t> slots_;
};

}  // namespace VekApi
