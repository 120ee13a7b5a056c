#include "runtime/Shortage.h"

#include <cstdlib>
#include <new>

namespace TestSupport {

std::atomic<bool> refuseThreads{false};
std::atomic<Dova::Os::TEvent*> holdNextThread{nullptr};
std::atomic<Dova::Os::TEvent*> nextThreadHeld{nullptr};
std::atomic<Dova::Os::TEvent*> asked{nullptr};
std::atomic<Dova::Os::TEvent*> answer{nullptr};

namespace {

thread_local bool limited = false;
thread_local int left = 0;

void* Allocate(std::size_t size) {
  if (limited && left-- <= 0) return nullptr;
  return std::malloc(size ? size : 1);
}

}  // namespace

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

void* operator new(std::size_t size) {
  if (void* const memory = TestSupport::Allocate(size)) return memory;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
  return operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return TestSupport::Allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return TestSupport::Allocate(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
