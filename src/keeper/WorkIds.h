#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <string_view>

namespace VekApi {

// Work ids that nobody else makes: 64 random bits for each maker, then a counter, in base 32.
class TWorkIds {
 public:
  TWorkIds(std::string_view prefix, std::uint64_t seed);

  // Writes at most 31 bytes and a NUL; how many bytes.
  unsigned Next(char* id);

 private:
  std::string head_;
  std::uint64_t count_ = 0;
};

inline constexpr std::size_t kMaxPrefix = 8;

// Whether a work id can be one, given the character that ends it in acknowledgements.
bool IsWorkId(std::string_view id, char separator);

// Whether a text of that code has the lines and the id that it has to have. `inFront`: the id is still to
// come in front of the text.
bool IsRequestText(int code, std::string_view text, std::string_view id, bool inFront);

}  // namespace VekApi
