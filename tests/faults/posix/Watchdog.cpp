#include "faults/posix/Watchdog.h"

#include <execinfo.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "faults/posix/Faults.h"

namespace Faults {
namespace {

// The library's threads block every signal but those of faults.
constexpr int kDumpSignal = SIGSYS;
std::atomic<bool> dumped{false};

void Dump(int) {
  void* frames[48];
  backtrace_symbols_fd(frames, backtrace(frames, 48), STDERR_FILENO);
  dumped = true;
}

void DumpThread(pid_t thread) {
  std::fprintf(stderr, "-- thread %d\n", static_cast<int>(thread));
  dumped = false;
  syscall(SYS_tgkill, getpid(), thread, kDumpSignal);
  for (int i = 0; i < 1000 && !dumped; ++i) usleep(1000);
}

void DumpAndDie(int signal) {
  Dump(signal);
  ::signal(signal, SIG_DFL);
  raise(signal);
}

}  // namespace

void DumpWhenKilled() {
  for (const int each : {SIGSEGV, SIGBUS, SIGABRT, SIGALRM}) signal(each, &DumpAndDie);
}

TWatchdog::TWatchdog(std::string what, int seconds)
    : seconds_(seconds), what_(std::move(what)), thread_([this] { Watch(); }) {}

TWatchdog::~TWatchdog() {
  {
    const std::lock_guard lock(mutex_);
    over_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void TWatchdog::GoesOn(std::string what) {
  const std::lock_guard lock(mutex_);
  ++count_;
  what_ = std::move(what);
}

void TWatchdog::Watch() {
  const TInTest inTest;
  std::unique_lock lock(mutex_);
  for (unsigned seen = count_; !over_; seen = count_) {
    const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(seconds_);
    if (!changed_.wait_until(lock, patience, [this] { return over_; }) && count_ == seen) Bark();
  }
}

void TWatchdog::Bark() const {
  std::fprintf(stderr, "nothing goes on: %s\n", what_.c_str());
  struct sigaction action {};
  action.sa_handler = &Dump;
  sigaction(kDumpSignal, &action, nullptr);
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
    DumpThread(std::atoi(entry.path().filename().c_str()));
  }
  PrintPlace();
  std::abort();
}

}  // namespace Faults
