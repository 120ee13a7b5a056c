#pragma once

#include <cstdint>
#include <random>
#include <string_view>

namespace VekApi {

// Work ids that nobody else makes: 64 random bits for each maker, then a counter, in base 32.
class TWorkIds {
 public:
  TWorkIds(std::string_view prefix, std::uint64_t seed);

  // The next one, at most 31 characters, until GoOn: which is called once it is used, not when it is wanted,
  // so that the processor need not wait for it.
  std::string_view Next() const { return {id_, length_}; }
  void GoOn();

 private:
  std::uint8_t digits_[11] = {};  // the counter's
  char id_[32] = {};
  unsigned head_ = 0;  // its characters that stay
  unsigned length_ = 0;
};

inline constexpr std::size_t kMaxPrefix = 8;

// Whether a work id can be one, given the character that ends it in acknowledgements.
bool IsWorkId(std::string_view id, char separator);

// Whether a text of that code has the lines and the id that it has to have. `inFront`: the id is still to
// come in front of the text.
bool IsRequestText(int code, std::string_view text, std::string_view id, bool inFront);

}  // namespace VekApi
