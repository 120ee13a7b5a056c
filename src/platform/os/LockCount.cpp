// Counts the leaf locks each thread holds, in debug and sanitizer builds only.
#include "platform/os/Mutex.h"

#ifdef VEKAPI_CHECKED

#include <cstdio>
#include <cstdlib>

namespace Dova::Os {
namespace {

thread_local int held = 0;

}  // namespace

void CountLock(int change) noexcept {
  held += change;
}

void AssertNoLockHeld(const char* waiter) noexcept {
  if (held == 0) return;
  std::fprintf(stderr, "vekapi: %s waits while its thread holds %d lock(s) of the library\n", waiter, held);
  std::abort();
}

}  // namespace Dova::Os

#endif
