// Hash of a name under a key that each process draws anew, so that nobody can prepare names that collide:
// SipHash with one round a word and three at the end.
#pragma once

#include <cstdint>
#include <string_view>

namespace VekApi {

std::uint64_t KeyedHash(std::string_view name);

}  // namespace VekApi
