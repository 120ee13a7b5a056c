// Finds the position of a name in a sequence of things that have properties, and that grows at its end. Most
// sequences are short: a walk over one number for each name beats every tree. From kWalk names on an ordered
// map answers, whatever names a server thinks up.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

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
    const std::uint64_t wanted = DigestOf(name);
    for (std::size_t i = 0; i < digests_.size(); ++i)
      if (digests_[i] == wanted && items[i].Properties().Name() == name) return i;
    return kNone;
  }

  // Enters the name of the sequence's last item, which is new.
  template <class TItems>
  void Enter(const TItems& items) {
    if (positions_.empty()) digests_.push_back(DigestOf(items.back().Properties().Name()));
    if (digests_.size() < kWalk) return;
    for (std::size_t i = positions_.size(); i < items.size(); ++i)
      positions_.emplace(items[i].Properties().Name(), i);
  }

  void Reserve(std::size_t count) { digests_.reserve(count); }

  void Clear() {
    digests_.clear();
    positions_.clear();
  }

 private:
  static constexpr std::size_t kWalk = 64;

  static std::uint64_t DigestOf(std::string_view name) {
    std::uint64_t digest = name.size();
    for (std::uint64_t eight = 0; !name.empty();
         name.remove_prefix(std::min(sizeof eight, name.size())), eight = 0) {
      std::memcpy(&eight, name.data(), std::min(sizeof eight, name.size()));
      digest = (digest ^ eight) * 0x9E3779B97F4A7C15u;
      digest ^= digest >> 32;
    }
    return digest;
  }

  std::vector<std::uint64_t> digests_;
  std::map<std::string, std::size_t, std::less<>> positions_;
};

}  // namespace VekApi
