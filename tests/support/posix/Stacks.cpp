#include <dirent.h>
#include <execinfo.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "support/Watchdog.h"

namespace TestSupport {
namespace {

// The library's threads block every signal but those of faults.
constexpr int kDumpSignal = SIGSYS;
std::atomic<bool> dumped{false};

void Dump(int) {
  void* frames[48];
  backtrace_symbols_fd(frames, backtrace(frames, 48), STDERR_FILENO);
  dumped = true;
}

void DumpThread(int thread) {
  std::fprintf(stderr, "-- thread %d\n", thread);
  dumped = false;
  syscall(SYS_tgkill, getpid(), thread, kDumpSignal);
  for (int i = 0; i < 1000 && !dumped; ++i) usleep(1000);
}

}  // namespace

void PrintStacks() {
  signal(kDumpSignal, &Dump);
  DIR* const threads = opendir("/proc/self/task");
  while (const dirent* const entry = readdir(threads)) {
    if (const int thread = std::atoi(entry->d_name)) DumpThread(thread);
  }
  closedir(threads);
}

}  // namespace TestSupport
