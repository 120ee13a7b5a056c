// What the numbers of a session mean, for people.
#pragma once

#include <cstdint>
#include <string>

#include "vekapi/VekSessionC.h"

namespace VekApi {

// As CVekApi_Text.
const char* WordsOf(std::int32_t what, std::int32_t value, std::int32_t language) noexcept;

// As CVekApi_Describe. Throws std::bad_alloc.
std::string Describe(const CVekEvent& event);

}  // namespace VekApi
