#include "flat/ForkedChild.h"

#include <sys/wait.h>
#include <unistd.h>

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
