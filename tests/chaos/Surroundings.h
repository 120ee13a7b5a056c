// What a run uses of the system, and what it does to the program from outside.
#pragma once

#include <cstddef>

namespace Chaos {

// Requests of the session in a round. Under Wine each step of a socket takes longer.
extern const int kRequests;

// In bytes; 0 where the system does not say.
struct TMemory {
  std::size_t resident = 0;
  std::size_t data = 0;  // all that may be written, resident or not
};
TMemory MemoryNow();

// While it lives, signals interrupt the system calls of threads, a thousand a second. Nothing on Windows.
class TSignals {
 public:
  TSignals();
  ~TSignals();
  TSignals(const TSignals&) = delete;
  TSignals& operator=(const TSignals&) = delete;
};

}  // namespace Chaos
