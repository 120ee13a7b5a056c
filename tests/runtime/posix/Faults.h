// Calls of the system that fail or hang when a test says so: this program's own definitions stand before the
// C library's, and pass on what they let through.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace TestSupport {

struct TFaults {
  std::atomic<int> sendError{0};         // what every send fails with
  std::atomic<bool> lookUpHangs{false};  // look-ups of names that end in ".test" wait until it is false again
  std::atomic<int> lookUps{0};           // how many of those have begun
  std::atomic<int> lookUpsDone{0};

  // What names that end in ".test" stand for: address and port.
  std::vector<std::pair<std::string, std::uint16_t>> addresses;
};

TFaults& Faults();

}  // namespace TestSupport
