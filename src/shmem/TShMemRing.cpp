#include "shmem/TShMemRing.h"

#include <algorithm>
#include <atomic>
#include <cstring>

namespace Dova {
namespace {

using TIndex = std::atomic_ref<std::uint32_t>;
static_assert(TIndex::is_always_lock_free, "a lock would not be shared with the other process");

}  // namespace

std::uint32_t TShMemRing::CapacityIn(const std::byte* memory) {
  auto& header = *reinterpret_cast<TShMemHeader*>(const_cast<std::byte*>(memory));
  return TIndex(header.capacity).load(std::memory_order_acquire);
}

// The capacity comes last: a reader that joins too early finds none.
void TShMemRing::Format(std::byte* memory, std::size_t bytes, std::uint32_t capacity) {
  std::memset(memory, 0, bytes);
  TIndex(reinterpret_cast<TShMemHeader*>(memory)->capacity).store(capacity, std::memory_order_release);
}

// Acquire for both: the one that is ours costs nothing, and the other's bytes or room must be there before
// the copy.
bool TShMemRing::Load(TIndices& indices) const {
  indices.read = TIndex(Header().readIndex).load(std::memory_order_acquire);
  indices.write = TIndex(Header().writeIndex).load(std::memory_order_acquire);
  return indices.read < capacity_ && indices.write < capacity_;
}

std::uint32_t TShMemRing::After(std::uint32_t index, std::uint32_t count) const {
  const std::uint32_t toEnd = capacity_ - index;
  return count < toEnd ? index + count : count - toEnd;
}

std::ptrdiff_t TShMemRing::Write(const char* bytes, std::size_t length) const {
  TIndices at{};
  if (!memory_ || !Load(at)) return kBroken;
  const std::uint32_t space = at.read - at.write - 1 + (at.write < at.read ? 0 : capacity_);
  const auto count = static_cast<std::uint32_t>(std::min<std::size_t>(space, length));
  if (count == 0) return 0;
  const std::uint32_t straight = std::min(count, capacity_ - at.write);
  std::byte* const data = memory_ + kHeaderBytes;
  std::memcpy(data + at.write, bytes, straight);
  std::memcpy(data, bytes + straight, count - straight);
  TIndex(Header().writeIndex).store(After(at.write, count), std::memory_order_release);
  return count;
}

std::ptrdiff_t TShMemRing::Read(char* buffer, std::size_t size) const {
  TIndices at{};
  if (!memory_ || !Load(at)) return kBroken;
  const std::uint32_t there = at.write - at.read + (at.write < at.read ? capacity_ : 0);
  const auto count = static_cast<std::uint32_t>(std::min<std::size_t>(there, size));
  if (count == 0) return 0;
  const std::uint32_t straight = std::min(count, capacity_ - at.read);
  const std::byte* const data = memory_ + kHeaderBytes;
  std::memcpy(buffer, data + at.read, straight);
  std::memcpy(buffer + straight, data, count - straight);
  TIndex(Header().readIndex).store(After(at.read, count), std::memory_order_release);
  return count;
}

}  // namespace Dova
