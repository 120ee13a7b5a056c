// What the process holds of the system and of memory.
#pragma once

#include <cstdint>

namespace Faults {

struct THeld {
  unsigned descriptors;
  unsigned threads;
  unsigned mapped;  // memory files, which the rings are
  std::int64_t blocks;

  // Less is no leak: what a link before left to its own threads may be gone meanwhile.
  bool Within(const THeld& before) const {
    return descriptors <= before.descriptors && threads <= before.threads && mapped <= before.mapped &&
           blocks <= before.blocks;
  }
};

THeld Held();

// Fails the test when more stays held. With `first`, blocks that are made once and kept do not
// count.
void ExpectAsBefore(THeld before, bool first = false);

}  // namespace Faults
