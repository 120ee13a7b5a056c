#include "faults/posix/Held.h"

#include <dirent.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <ostream>
#include <string>
#include <thread>

#include "faults/posix/Faults.h"
#include "faults/posix/Servers.h"

namespace Faults {
namespace {

unsigned Entries(const char* folder, const std::string& with = {}) {
  DIR* const open = opendir(folder);
  unsigned count = 0;
  while (const dirent* const entry = readdir(open))
    count += std::strstr(entry->d_name, with.c_str()) != nullptr;
  closedir(open);
  return count;
}

}  // namespace

THeld Held() {
  return {Entries("/proc/self/fd"), Entries("/proc/self/task"), Entries("/dev/shm", SharedPrefix()),
          LiveBlocks()};
}

static std::ostream& operator<<(std::ostream& to, const THeld& held) {
  return to << held.descriptors << " descriptors, " << held.threads << " threads, " << held.shared
            << " shared objects, " << held.blocks << " blocks";
}

// Threads that nobody joins end by themselves, and the gateway lets go of the rings when it notices.
void ExpectAsBefore(THeld before, bool first) {
  const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  for (;;) {
    const THeld now = Held();
    if (first) before.blocks = now.blocks;
    if (now == before) return;
    if (std::chrono::steady_clock::now() > patience) {
      ADD_FAILURE() << "left: " << now << "\nbefore: " << before;
      return;
    }
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
}

}  // namespace Faults
