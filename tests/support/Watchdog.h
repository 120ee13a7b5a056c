#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace TestSupport {

// Ends the program if no progress was reported for too long, with the stack of every thread on standard error
// where the system can provide it.
class TWatchdog {
 public:
  // `tell` adds to the output.
  explicit TWatchdog(
      std::string what, int seconds = 120, void (*tell)() = [] {});
  ~TWatchdog();
  TWatchdog(const TWatchdog&) = delete;
  TWatchdog& operator=(const TWatchdog&) = delete;

  void GoesOn(std::string what);

 private:
  void Watch();

  const int seconds_;
  void (*const tell_)();
  std::mutex mutex_;
  std::condition_variable changed_;
  std::string what_;
  unsigned count_ = 0;
  bool over_ = false;
  std::thread thread_;
};

// On standard error.
void PrintStacks();

}  // namespace TestSupport
