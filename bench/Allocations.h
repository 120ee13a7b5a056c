// Counts the allocations of the program it is linked into.
#pragma once

#include <cstddef>

// Those of all threads since the start, of operator new as of malloc.
std::size_t Allocations();
