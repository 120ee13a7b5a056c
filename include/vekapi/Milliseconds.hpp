// Times of the C++ headers as numbers of the flat functions.
#ifndef VEKAPI_MILLISECONDS_HPP
#define VEKAPI_MILLISECONDS_HPP

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>

namespace VekApi::Detail {

// The nearest number there is, but at least `least`. Parentheses keep a macro of Windows away.
template <class Number>
Number Milliseconds(std::chrono::milliseconds time, std::int64_t least = 0) {
  return static_cast<Number>(
      std::clamp<std::int64_t>(time.count(), least, (std::numeric_limits<Number>::max)()));
}

}  // namespace VekApi::Detail

#endif  // VEKAPI_MILLISECONDS_HPP
