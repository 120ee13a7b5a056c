#include "chaos/Surroundings.h"

namespace Chaos {

const int kRequests = 100;

TMemory MemoryNow() {
  return {};
}

TSignals::TSignals() = default;
TSignals::~TSignals() = default;

}  // namespace Chaos
