#include "runtime/Shortage.h"

#include <cstdlib>

#include "support/OwnNew.h"

namespace TestSupport {

std::atomic<bool> refuseThreads{false};
std::atomic<Dova::Os::TEvent*> holdNextThread{nullptr};
std::atomic<Dova::Os::TEvent*> nextThreadHeld{nullptr};

namespace {

thread_local bool limited = false;
thread_local int left = 0;

}  // namespace

void* Take(std::size_t bytes) {
  if (limited && left-- <= 0) return nullptr;
  return std::malloc(bytes ? bytes : 1);
}

void Give(void* memory) noexcept {
  std::free(memory);
}

TNoMemory::TNoMemory(int first) {
  left = first;
  limited = true;
}

TNoMemory::~TNoMemory() {
  limited = false;
}

bool TNoMemory::WasFelt() const {
  return left < 0;
}

}  // namespace TestSupport
