// Replaces operator new in the program of the one file that includes this and defines both functions.
#pragma once

#include <cstddef>
#include <new>

namespace TestSupport {

// Null: there is no memory. May throw.
void* Take(std::size_t bytes);
void Give(void* memory) noexcept;

}  // namespace TestSupport

void* operator new(std::size_t bytes) {
  if (void* const memory = TestSupport::Take(bytes)) return memory;
  throw std::bad_alloc();
}
void* operator new[](std::size_t bytes) {
  return operator new(bytes);
}
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  try {
    return TestSupport::Take(bytes);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void* operator new[](std::size_t bytes, const std::nothrow_t& none) noexcept {
  return operator new(bytes, none);
}
void operator delete(void* memory) noexcept {
  TestSupport::Give(memory);
}
void operator delete[](void* memory) noexcept {
  TestSupport::Give(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  TestSupport::Give(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  TestSupport::Give(memory);
}
