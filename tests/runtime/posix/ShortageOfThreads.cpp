// Overrides the system function in this program.
#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>

#include "runtime/Shortage.h"

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                              void* argument) noexcept {
  using TCreate = decltype(&pthread_create);
  static const auto create = reinterpret_cast<TCreate>(dlsym(RTLD_NEXT, "pthread_create"));
  return TestSupport::AskForThread() ? create(thread, attributes, body, argument) : EAGAIN;
}
