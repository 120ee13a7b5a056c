// Overrides the system function in this program.
#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>
#include <memory>

#include "runtime/Shortage.h"

namespace {

using TBody = void* (*)(void*);

struct THeld {
  TBody body;
  void* argument;
  Dova::Os::TEvent* until;
};

void* RunHeld(void* held) {
  const std::unique_ptr<THeld> owned(static_cast<THeld*>(held));
  TestSupport::Hold(*owned->until);
  return owned->body(owned->argument);
}

}  // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, TBody body,
                              void* argument) noexcept {
  using TCreate = int (*)(pthread_t*, const pthread_attr_t*, TBody, void*);
  static const auto create = reinterpret_cast<TCreate>(dlsym(RTLD_NEXT, "pthread_create"));
  if (!TestSupport::AskForThread()) return EAGAIN;
  Dova::Os::TEvent* const until = TestSupport::holdNextThread.exchange(nullptr);
  if (!until) return create(thread, attributes, body, argument);
  return create(thread, attributes, &RunHeld, new THeld{body, argument, until});
}
