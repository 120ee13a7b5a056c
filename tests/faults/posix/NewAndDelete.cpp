// Blocks come directly from malloc, because headers of other libraries mix the two; the library's blocks are
// recorded separately.
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "faults/posix/Faults.h"

namespace Faults {
namespace {

constinit std::atomic<std::int64_t> liveBlocks{0};

// The library's blocks, hashed by address. Lock-free, because a forked child could inherit a lock without its
// holder.
constexpr std::size_t kPlaces = std::size_t{1} << 20;
constinit std::array<std::atomic<std::uintptr_t>, kPlaces> places{};
constexpr std::uintptr_t kLeft = 1;  // freed slot: continue the search

std::size_t PlaceOf(std::uintptr_t block) noexcept {
  return block * 0x9E3779B97F4A7C15u >> 44;
}

void Note(void* block) noexcept {
  const auto address = reinterpret_cast<std::uintptr_t>(block);
  for (std::size_t at = PlaceOf(address);; at = (at + 1) % kPlaces) {
    std::uintptr_t seen = places[at];
    if (seen <= kLeft && places[at].compare_exchange_strong(seen, address)) break;
  }
  liveBlocks.fetch_add(1);
}

void Forget(void* block) noexcept {
  const auto address = reinterpret_cast<std::uintptr_t>(block);
  std::size_t at = PlaceOf(address);
  while (places[at] != address && places[at] != 0) at = (at + 1) % kPlaces;
  if (places[at] == 0) return;
  places[at] = kLeft;
  liveBlocks.fetch_sub(1);
}

void* Take(std::size_t bytes, std::size_t alignment) {
  if (Fails(EKind::Memory)) throw std::bad_alloc();
  void* const block = alignment <= alignof(std::max_align_t)
                          ? std::malloc(bytes == 0 ? 1 : bytes)
                          : std::aligned_alloc(alignment, (bytes + alignment) / alignment * alignment);
  if (block == nullptr) throw std::bad_alloc();
  if (IsInLibrary()) Note(block);
  return block;
}

void GiveBack(void* block) noexcept {
  if (block != nullptr) Forget(block);
  std::free(block);
}

}  // namespace

std::int64_t LiveBlocks() noexcept {
  return liveBlocks;
}

}  // namespace Faults

void* operator new(std::size_t bytes) {
  return Faults::Take(bytes, alignof(std::max_align_t));
}
void* operator new(std::size_t bytes, std::align_val_t alignment) {
  return Faults::Take(bytes, static_cast<std::size_t>(alignment));
}
void operator delete(void* block) noexcept {
  Faults::GiveBack(block);
}
void operator delete(void* block, std::size_t) noexcept {
  Faults::GiveBack(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
  Faults::GiveBack(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
  Faults::GiveBack(block);
}
