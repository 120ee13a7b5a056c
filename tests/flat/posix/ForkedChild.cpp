#include "flat/ForkedChild.h"

#include <sys/wait.h>
#include <unistd.h>

// Not tried under sanitizers: ThreadSanitizer ends a child that starts threads, and AddressSanitizer's
// allocator may be locked there for ever.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
bool vektest::EndsWellForked(const std::function<void()>& /*body*/) {
  return true;
}
#else
bool vektest::EndsWellForked(const std::function<void()>& body) {
  const pid_t child = fork();
  if (child == 0) {
    alarm(60);
    body();
    _exit(0);
  }
  int status = 0;
  return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}
#endif
