// Prints the steps of a check.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "vekterm/ExitCodes.h"
#include "vekterm/Options.h"
#include "vekterm/Output.h"

namespace VekTerm {

// Why a step failed, and the remedy.
struct Fault {
  EExit code;
  std::string what, advice;
};

class Steps {
 public:
  explicit Steps(Output& output) : output_(output) {}

  void Tell(const char* name, bool good, std::int64_t ns, const std::string& text, EExit code = kDone);

  // Prints the result of `work`, or the Fault that it throws. `work` may set `tookNs` to the duration of what
  // happens on another thread; while it is 0 the step took as long as `work`.
  template <class Work>
  void Do(const char* name, Work work, const std::int64_t& tookNs = 0) {
    using std::chrono::steady_clock;
    const auto begin = steady_clock::now();
    const auto since = [&]() -> std::int64_t {
      return tookNs != 0 ? tookNs : std::chrono::nanoseconds(steady_clock::now() - begin).count();
    };
    try {
      const std::string found = work();
      Tell(name, true, since(), found);
    } catch (const Fault& fault) {
      Tell(name, false, since(), fault.what, fault.code);
      throw;
    }
  }

 private:
  Output& output_;
};

// The steps below a session: setting, look-up, each address. Returns an address that accepted a connection;
// empty if the server is not reached over TCP. Throws a Fault.
std::string ReachServer(const Options& options, Steps& steps);

}  // namespace VekTerm
