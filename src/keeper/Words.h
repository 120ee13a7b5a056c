// What the numbers of a session mean, for people.
#pragma once

#include <cstdint>
#include <string>

#include "vekapi/VekSessionC.h"

namespace VekApi {

// As CVekApi_Text.
const char* WordsOf(std::int32_t what, std::int32_t value, std::int32_t language) noexcept;

// The reason that a session gives for a finer one; others are their own.
std::int32_t BroadReason(std::int32_t reason) noexcept;

// An event's reason or finer cause in words. If a session has stopped, the reason, and what ended its last
// link. Throws std::bad_alloc.
std::string WhyOf(const CVekEvent& event);

// As CVekApi_Describe. Throws std::bad_alloc.
std::string Describe(const CVekEvent& event);

}  // namespace VekApi
