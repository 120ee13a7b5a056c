#include "support/Watchdog.h"

namespace TestSupport {

void DumpWhenKilled() {}
void PrintStacks() {}

}  // namespace TestSupport
