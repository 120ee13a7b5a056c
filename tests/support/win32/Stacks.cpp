#include "support/Watchdog.h"

namespace TestSupport {

void PrintStacks() {}

}  // namespace TestSupport
