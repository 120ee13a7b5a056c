// Hash of a name under a key that each process draws anew, so that nobody can prepare names that collide:
// SipHash with one round a word and three at the end.
#pragma once

#include <cstdint>
#include <string_view>

#include "result/TWork.h"

namespace VekApi {

// Any number when the work stops.
std::uint64_t KeyedHash(std::string_view name, TWork& work);

}  // namespace VekApi
