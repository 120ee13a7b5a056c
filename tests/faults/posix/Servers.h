// The simulated server and its gateway in a process of their own, so that what they ask of the system is not
// counted.
#pragma once

#include <string>

namespace Faults {

struct TSettings {
  std::string tcp;  // by name, which has to be looked up
  std::string sharedMemory;
};

// Started before the first test.
const TSettings& Settings();

}  // namespace Faults
