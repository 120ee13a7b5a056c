// Finds the position of a name in a sequence of things that have properties, and that grows at its end. Most
// sequences are short, and a walk over a few names beats every index; from kWalk names on an ordered map
// answers, whatever names a server thinks up.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace VekApi {

class TNameIndex {
 public:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  template <class TItems>
  std::size_t Find(std::string_view name, const TItems& items) const {
    if (!positions_.empty()) {
      const auto found = positions_.find(name);
      return found == positions_.end() ? kNone : found->second;
    }
    for (std::size_t i = 0; i < items.size(); ++i)
      if (items[i].Properties().Name() == name) return i;
    return kNone;
  }

  // To be called after each addition to the sequence.
  template <class TItems>
  void Enter(const TItems& items) {
    if (items.size() < kWalk) return;
    for (std::size_t i = positions_.size(); i < items.size(); ++i)
      positions_.emplace(items[i].Properties().Name(), i);
  }

  void Clear() { positions_.clear(); }

 private:
  static constexpr std::size_t kWalk = 16;

  std::map<std::string, std::size_t, std::less<>> positions_;
};

}  // namespace VekApi
