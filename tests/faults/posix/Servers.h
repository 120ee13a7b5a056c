// The simulated server and its gateway, each a process: their system calls are not counted.
#pragma once

#include <string>

namespace Faults {

struct TSettings {
  std::string tcp;  // by host name, which requires a look-up
  std::string sharedMemory;
};

// Available before the first test.
const TSettings& Settings();

}  // namespace Faults
