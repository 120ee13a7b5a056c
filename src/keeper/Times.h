// A session's times are nanoseconds of the monotonic clock, as in the structures of the flat functions.
#pragma once

#include <cstdint>

namespace VekApi {

inline constexpr std::int64_t kNsPerMs = 1'000'000;

}  // namespace VekApi
