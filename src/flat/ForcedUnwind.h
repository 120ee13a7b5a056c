#pragma once

#include <exception>

namespace VekApi::Flat {

// Must be called first inside a catch (...). A runtime that ends its thread during a callback (pthread_exit,
// cancellation, an interpreter exiting) unwinds through here, and the system aborts the program if the
// unwinding is caught and not rethrown. Such an unwinding is not a C++ exception: there is no current
// exception.
inline void PassForcedUnwind() {
  if (!std::current_exception()) throw;
}

}  // namespace VekApi::Flat
