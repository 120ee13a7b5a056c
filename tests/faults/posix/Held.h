// What the process holds of the system and of memory.
#pragma once

#include <cstdint>

namespace Faults {

struct THeld {
  unsigned descriptors;
  unsigned threads;
  unsigned mapped;  // memory files, which the rings are
  std::int64_t blocks;

  bool operator==(const THeld&) const = default;
};

THeld Held();

// Fails the test when it does not come back to that. With `first`, blocks that are made once and kept do not
// count.
void ExpectAsBefore(THeld before, bool first = false);

}  // namespace Faults
