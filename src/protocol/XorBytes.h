#pragma once

#include <cstddef>

namespace VekApi {

// bytes[i] ^= pad[i] for i below count; the ranges do not overlap. Uses the widest vectors that the processor
// has.
void XorBytes(char* bytes, const char* pad, std::size_t count) noexcept;

}  // namespace VekApi
