#include "Allocations.h"

#include <atomic>

extern "C" {
// Those of the C library, which the functions below replace.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
}

namespace {

std::atomic<std::size_t> allocations{0};

void Count() {
  allocations.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) {
  Count();
  return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
  Count();
  return __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) {
  Count();
  return __libc_realloc(memory, size);
}
}

std::size_t Allocations() {
  return allocations.load(std::memory_order_relaxed);
}
