#include "support/Held.h"

#include <filesystem>
#include <fstream>

#include "platform/os/NamedMapping.h"

namespace TestSupport {

THeld Held() {
  THeld held;
  for (const char* const folder : {"/proc/self/fd", "/proc/self/task"}) {
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) ++held[folder];
  }
  for (const auto& entry : std::filesystem::directory_iterator("/dev/shm")) {
    const std::string name = entry.path().filename();
    if (name.find(Dova::Os::OwnName("")) != std::string::npos) ++held["shared memory"];
  }
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find("memfd:vekshm.") != std::string::npos) ++held["views"];
  }
  return held;
}

}  // namespace TestSupport
