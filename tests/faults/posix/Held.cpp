#include "faults/posix/Held.h"

#include <dirent.h>
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <ostream>
#include <string>
#include <thread>

#include "faults/posix/Faults.h"

namespace Faults {
namespace {

unsigned Entries(const char* folder) {
  DIR* const open = opendir(folder);
  unsigned count = 0;
  while (readdir(open) != nullptr) ++count;
  closedir(open);
  return count;
}

unsigned MappedFiles() {
  std::ifstream maps("/proc/self/maps");
  unsigned count = 0;
  for (std::string line; std::getline(maps, line);) count += line.find("/memfd:") != std::string::npos;
  return count;
}

}  // namespace

THeld Held() {
  return {Entries("/proc/self/fd"), Entries("/proc/self/task"), MappedFiles(), LiveBlocks()};
}

static std::ostream& operator<<(std::ostream& to, const THeld& held) {
  return to << held.descriptors << " descriptors, " << held.threads << " threads, " << held.mapped
            << " mapped memory files, " << held.blocks << " blocks";
}

// Threads that nobody joins end by themselves.
void ExpectAsBefore(THeld before, bool first) {
  const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  for (;;) {
    const THeld now = Held();
    if (first) before.blocks = now.blocks;
    if (now.Within(before)) return;
    if (std::chrono::steady_clock::now() > patience) {
      ADD_FAILURE() << "left: " << now << "\nbefore: " << before;
      return;
    }
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
}

}  // namespace Faults
