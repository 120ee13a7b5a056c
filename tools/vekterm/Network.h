// Tries the network below a session step by step.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace VekTerm {

struct Lookup {
  std::vector<std::string> addresses;  // in numeric form
  std::string error;
};
Lookup LookUp(const std::string& host);

struct Attempt {
  bool made = false;
  bool timedOut = false;
  bool refused = false;
  std::string error;
};
Attempt Connect(const std::string& address, unsigned short port, std::chrono::milliseconds limit);

}  // namespace VekTerm
