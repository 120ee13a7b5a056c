#pragma once

#include <version>

// Goes in front of a catch (...): a runtime that ends its thread in the middle of a callback (pthread_exit,
// cancellation, an interpreter at its exit) unwinds through here, and the system aborts the program when that
// is caught and not thrown on.
#ifdef __GLIBCXX__
#include <cxxabi.h>
#define VEKAPI_PASS_FORCED_UNWIND       \
  catch (const abi::__forced_unwind&) { \
    throw;                              \
  }
#else
#define VEKAPI_PASS_FORCED_UNWIND
#endif
