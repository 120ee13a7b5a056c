#include "platform/os/Mutex.h"

#include <windows.h>

namespace Dova::Os {
namespace {

PSRWLOCK Native(void*& lock) noexcept {
  return reinterpret_cast<PSRWLOCK>(&lock);
}

}  // namespace

static_assert(sizeof(SRWLOCK) == sizeof(void*));

void TBareMutex::lock() noexcept {
  AcquireSRWLockExclusive(Native(native_));
}

bool TBareMutex::try_lock() noexcept {
  return TryAcquireSRWLockExclusive(Native(native_)) != FALSE;
}

void TBareMutex::unlock() noexcept {
  ReleaseSRWLockExclusive(Native(native_));
}

}  // namespace Dova::Os
