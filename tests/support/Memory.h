// Looking for a text in all the memory that this process can write to.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace TestSupport {

// Some of this process's memory, copied: a stretch of its addresses without a gap.
using TLook = std::function<void(std::string_view bytes)>;

// All that is writable, in pieces that overlap by `overlap` bytes. Not what another thread takes away
// meanwhile, and not the copies.
void LookAtMemory(std::size_t overlap, const TLook& look);

// A text that nobody but who asks for it has in memory.
class TSecret {
 public:
  // To be wiped by the caller.
  std::string Text() const {
    std::string text = hidden_;
    for (char& c : text) c = static_cast<char>(c ^ kMask);
    return text;
  }

  // How many copies there are.
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
