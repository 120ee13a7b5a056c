// Every block has a word in front of it that says whether the library took it.
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

#include "faults/posix/Faults.h"

namespace Faults {
namespace {

constinit std::atomic<std::int64_t> liveBlocks{0};
constexpr std::size_t kLeastAlignment = alignof(std::max_align_t);

struct THead {
  bool library;
};

void* Take(std::size_t bytes, std::size_t alignment) {
  if (Fails(EKind::Memory)) throw std::bad_alloc();
  const std::size_t whole = (bytes + alignment + alignment - 1) / alignment * alignment;
  char* const start = static_cast<char*>(alignment == kLeastAlignment ? std::malloc(whole)
                                                                      : std::aligned_alloc(alignment, whole));
  if (start == nullptr) throw std::bad_alloc();
  void* const block = start + alignment;
  const bool library = IsInLibrary();
  static_cast<THead*>(block)[-1].library = library;
  if (library) liveBlocks.fetch_add(1);
  return block;
}

void GiveBack(void* block, std::size_t alignment) noexcept {
  if (block == nullptr) return;
  if (static_cast<THead*>(block)[-1].library) liveBlocks.fetch_sub(1);
  std::free(static_cast<char*>(block) - alignment);
}

}  // namespace

std::int64_t LiveBlocks() noexcept {
  return liveBlocks;
}

}  // namespace Faults

void* operator new(std::size_t bytes) {
  return Faults::Take(bytes, Faults::kLeastAlignment);
}
void* operator new(std::size_t bytes, std::align_val_t alignment) {
  return Faults::Take(bytes, static_cast<std::size_t>(alignment));
}
void operator delete(void* block) noexcept {
  Faults::GiveBack(block, Faults::kLeastAlignment);
}
void operator delete(void* block, std::size_t) noexcept {
  Faults::GiveBack(block, Faults::kLeastAlignment);
}
void operator delete(void* block, std::align_val_t alignment) noexcept {
  Faults::GiveBack(block, static_cast<std::size_t>(alignment));
}
void operator delete(void* block, std::size_t, std::align_val_t alignment) noexcept {
  Faults::GiveBack(block, static_cast<std::size_t>(alignment));
}
