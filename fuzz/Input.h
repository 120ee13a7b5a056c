// The bytes of one input, taken piece by piece; and what every target checks with.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace vekfuzz {

// Ends the program, as the fuzzer expects of a fault.
inline void Check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

  bool Empty() const { return rest_.empty(); }

  // 0 at the end.
  unsigned Byte() {
    if (rest_.empty()) return 0;
    const auto byte = static_cast<unsigned char>(rest_.front());
    rest_.remove_prefix(1);
    return byte;
  }
  unsigned Below(unsigned count) { return Byte() % count; }

  // The next bytes up to 0xFF or the end.
  std::string Text() {
    const std::size_t end = std::min(rest_.find('\xFF'), rest_.size());
    std::string text(rest_.substr(0, end));
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
    return text;
  }

  std::string Rest() {
    std::string text(rest_);
    rest_ = {};
    return text;
  }

 private:
  std::string_view rest_;
};

}  // namespace vekfuzz
