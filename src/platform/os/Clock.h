#pragma once

#include <cstdint>

namespace Dova::Os {

// Nanoseconds of a monotonic clock with an arbitrary origin.
std::int64_t MonotonicNs() noexcept;

}  // namespace Dova::Os
