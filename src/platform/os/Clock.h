#pragma once

#include <cstdint>

namespace Dova::Os {

// Nanoseconds of a clock that never goes back; its zero means nothing.
std::int64_t MonotonicNs() noexcept;

}  // namespace Dova::Os
