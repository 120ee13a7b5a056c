// The system resources of this process, by name: a leak would make one grow.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <thread>

namespace TestSupport {

using THeld = std::map<std::string, std::size_t>;

THeld Held();

// Reads until nothing exceeds `before`: detached threads may still be ending. Fails the test if that does not
// happen.
template <class TRead>
bool SettlesTo(const THeld& before, const TRead& read) {
  const auto was = [&](const std::string& what) {
    const auto at = before.find(what);
    return at == before.end() ? 0 : at->second;
  };
  const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  for (;;) {
    const THeld now = read();
    const bool late = std::chrono::steady_clock::now() > patience;
    bool more = false;
    for (const auto& [what, count] : now) {
      if (count <= was(what)) continue;
      more = true;
      if (late) ADD_FAILURE() << what << " " << count << ", before " << was(what);
    }
    if (!more || late) return !more;
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
}
inline bool SettlesTo(const THeld& before) {
  return SettlesTo(before, &Held);
}

}  // namespace TestSupport
