#pragma once

#include <cstddef>

// Automation strings of narrow bytes: a 32-bit byte count stands in front of the bytes, NULs behind. On
// Windows they are the system's own, so that any program may free them with SysFreeString; elsewhere they
// have the same layout.
namespace Dova::Os {

// A copy of `length` bytes; they may hold any bytes. Null when there is no memory, or `length` does not fit
// into the count.
char* NewAutomationString(const char* bytes, std::size_t length) noexcept;

// Nothing for null.
void FreeAutomationString(char* text) noexcept;

}  // namespace Dova::Os
