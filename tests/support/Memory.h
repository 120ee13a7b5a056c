// Searches all writable memory of this process for a text.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace TestSupport {

// A copy of some of this process's memory: contiguous addresses.
using TLook = std::function<void(std::string_view bytes)>;

// All writable memory, in pieces that overlap by `overlap` bytes. Excludes memory freed by another thread
// meanwhile, and the copies.
void LookAtMemory(std::size_t overlap, const TLook& look);

// A text that is in memory only where its users put it.
class TSecret {
 public:
  // The caller must wipe it.
  std::string Text() const {
    std::string text = hidden_;
    for (char& c : text) c = static_cast<char>(c ^ kMask);
    return text;
  }

  // The number of copies in memory.
  unsigned Copies() const {
    unsigned copies = 0;
    LookAtMemory(hidden_.size() - 1, [&](std::string_view bytes) {
      const char first = static_cast<char>(hidden_[0] ^ kMask);
      for (std::size_t at = bytes.find(first); at != bytes.npos; at = bytes.find(first, at + 1))
        copies += IsAt(bytes.substr(at)) ? 1 : 0;
    });
    return copies;
  }

 private:
  static constexpr char kMask = 0x11;

  bool IsAt(std::string_view bytes) const {
    if (bytes.size() < hidden_.size()) return false;
    for (std::size_t i = 0; i < hidden_.size(); ++i) {
      if (static_cast<char>(hidden_[i] ^ kMask) != bytes[i]) return false;
    }
    return true;
  }

  const std::string hidden_ = "not the secret itself but what it becomes";
};

}  // namespace TestSupport
