#pragma once

#include <cstddef>

// Automation strings of narrow bytes: a 32-bit byte count precedes the bytes, NULs follow them. On Windows
// they are the system's own, so any program may free them with SysFreeString; on Linux they have the same
// layout.
namespace Dova::Os {

// Returns a copy of `length` bytes of any value. Null if there is no memory or `length` does not fit into the
// count.
char* NewAutomationString(const char* bytes, std::size_t length) noexcept;

// Does nothing for null.
void FreeAutomationString(char* text) noexcept;

}  // namespace Dova::Os
