// A session's times are nanoseconds of the monotonic clock, as the structures of its flat functions carry
// them.
#pragma once

#include <cstdint>

namespace VekApi {

inline constexpr std::int64_t kNsPerMs = 1'000'000;

}  // namespace VekApi
