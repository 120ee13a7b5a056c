// System calls that fail or hang on request: this program's definitions override those of the C library, and
// call them otherwise.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace TestSupport {

struct TFaults {
  std::atomic<bool> numbersHang{false};  // look-ups of numeric addresses block while true
  std::atomic<bool> lookUpHangs{false};  // look-ups of names ending in ".test" block while true
  std::atomic<int> lookUps{0};           // number of such look-ups started
  std::atomic<int> lookUpsDone{0};

  // Addresses and ports of names ending in ".test".
  std::vector<std::pair<std::string, std::uint16_t>> addresses;
};

TFaults& Faults();

}  // namespace TestSupport
