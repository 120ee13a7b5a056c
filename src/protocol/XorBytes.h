#pragma once

#include <cstddef>

namespace VekApi {

// bytes[i] ^= pad[i] for i below count; the ranges must not overlap. Uses the widest vectors the processor
// has.
void XorBytes(char* bytes, const char* pad, std::size_t count) noexcept;

}  // namespace VekApi
