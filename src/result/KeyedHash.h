// Hash of a name under a random key per process, so that colliding names cannot be prepared: SipHash with one
// round per word and three at the end.
#pragma once

#include <cstdint>
#include <string_view>

#include "result/TWork.h"

namespace VekApi {

// The result is undefined if the work stops.
std::uint64_t KeyedHash(std::string_view name, TWork& work);

}  // namespace VekApi
