#pragma once

#include <cstdint>
#include <string_view>

namespace VekApi {

// Generates unique work ids: 64 random bits per generator, followed by a counter, in base 32.
class TWorkIds {
 public:
  TWorkIds(std::string_view prefix, std::uint64_t seed);

  // The next id, at most 31 characters, until GoOn. GoOn is called after the id was used, not when one is
  // needed, so that the processor need not wait for the stores.
  std::string_view Next() const { return {id_, length_}; }
  void GoOn();

 private:
  std::uint8_t digits_[11] = {};  // of the counter
  char id_[32] = {};
  unsigned head_ = 0;  // length of the fixed part
  unsigned length_ = 0;
};

inline constexpr std::size_t kMaxPrefix = 8;

// Whether the text is a valid work id. `separator` is the character that ends it in acknowledgements.
bool IsWorkId(std::string_view id, char separator);

// Whether a request text of that code has the required lines and id. `inFront`: the id has yet to be put in
// front of the text.
bool IsRequestText(int code, std::string_view text, std::string_view id, bool inFront);

}  // namespace VekApi
