#include "chaos/Surroundings.h"

#include <signal.h>
#include <sys/time.h>

#include <fstream>
#include <string>

namespace Chaos {

const int kRequests = 700;

TMemory MemoryNow() {
  TMemory now;
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) now.resident = std::stoul(line.substr(6)) * 1024;
    if (line.starts_with("VmData:")) now.data = std::stoul(line.substr(7)) * 1024;
  }
  return now;
}

// Not restarted: a system call fails with EINTR.
TSignals::TSignals() {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  sigaction(SIGALRM, &action, nullptr);
  const itimerval every{{0, 1000}, {0, 1000}};
  setitimer(ITIMER_REAL, &every, nullptr);
}

TSignals::~TSignals() {
  const itimerval never{};
  setitimer(ITIMER_REAL, &never, nullptr);
}

}  // namespace Chaos
