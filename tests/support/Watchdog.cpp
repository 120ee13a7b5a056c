#include "support/Watchdog.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace TestSupport {

TWatchdog::TWatchdog(std::string what, int seconds, void (*tell)())
    : seconds_(seconds), tell_(tell), what_(std::move(what)), thread_([this] { Watch(); }) {}

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
  std::unique_lock lock(mutex_);
  for (unsigned seen = count_; !over_; seen = count_) {
    const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(seconds_);
    if (changed_.wait_until(lock, patience, [this] { return over_; }) || count_ != seen) continue;
    std::fprintf(stderr, "nothing goes on: %s\n", what_.c_str());
    PrintStacks();
    tell_();
    std::abort();
  }
}

}  // namespace TestSupport
