#pragma once

#include <exception>

namespace VekApi::Flat {

// First thing inside a catch (...): a runtime that ends its thread in the middle of a callback (pthread_exit,
// cancellation, an interpreter at its exit) unwinds through here, and the system aborts the program when that
// is caught and not thrown on. Such an unwinding is no exception of this language: there is none to be had.
inline void PassForcedUnwind() {
  if (!std::current_exception()) throw;
}

}  // namespace VekApi::Flat
