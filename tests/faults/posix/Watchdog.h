#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace Faults {

// Ends the program, with the stack of every thread on standard error, when it was not told for so long that
// something goes on.
class TWatchdog {
 public:
  explicit TWatchdog(std::string what, int seconds = 120);
  ~TWatchdog();
  TWatchdog(const TWatchdog&) = delete;
  TWatchdog& operator=(const TWatchdog&) = delete;

  void GoesOn(std::string what);

 private:
  void Watch();
  [[noreturn]] void Bark() const;

  const int seconds_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::string what_;
  unsigned count_ = 0;
  bool over_ = false;
  std::thread thread_;
};

// From now on a crash, or an alarm, writes the stack of its thread on standard error.
void DumpWhenKilled();

}  // namespace Faults
