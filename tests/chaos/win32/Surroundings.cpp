#include "chaos/Surroundings.h"

namespace Chaos {

TMemory MemoryNow() {
  return {};
}

TSignals::TSignals() = default;
TSignals::~TSignals() = default;

}  // namespace Chaos
