#include "shmem/TShMemRing.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "platform/runtime/Wipe.h"

namespace Dova {
namespace {

using TIndex = std::atomic_ref<std::uint32_t>;
static_assert(TIndex::is_always_lock_free, "a lock would not be shared with the other process");

}  // namespace

std::uint32_t TShMemRing::CapacityIn(const std::byte* memory) {
  auto& header = *reinterpret_cast<TShMemHeader*>(const_cast<std::byte*>(memory));
  return TIndex(header.capacity).load(std::memory_order_acquire);
}

// The capacity is written last: a reader that joins too early finds none.
void TShMemRing::Format(std::byte* memory, std::size_t bytes, std::uint32_t capacity) {
  std::memset(memory, 0, bytes);
  TIndex(reinterpret_cast<TShMemHeader*>(memory)->capacity).store(capacity, std::memory_order_release);
}

// Acquire for both: it costs nothing for our own index, and the other side's data or space must be visible
// before the copy.
bool TShMemRing::Load(TIndices& indices) const {
  indices.read = TIndex(Header().readIndex).load(std::memory_order_acquire);
  indices.write = TIndex(Header().writeIndex).load(std::memory_order_acquire);
  return indices.read < capacity_ && indices.write < capacity_;
}

std::uint32_t TShMemRing::After(std::uint32_t index, std::uint32_t count) const {
  const std::uint32_t toEnd = capacity_ - index;
  return count < toEnd ? index + count : count - toEnd;
}

std::uint32_t TShMemRing::Distance(std::uint32_t from, std::uint32_t to) const {
  return to - from + (to < from ? capacity_ : 0);
}

std::uint32_t TShMemRing::Space(const TIndices& at) const {
  return capacity_ - 1 - Distance(at.read, at.write);
}

std::size_t TShMemRing::Space() const {
  TIndices at{};
  return memory_ && Load(at) ? Space(at) : 0;
}

bool TShMemRing::HasNews() const {
  TIndices at{};
  return memory_ && (!Load(at) || at.read != at.write);
}

std::ptrdiff_t TShMemRing::Write(const char* bytes, std::size_t length) {
  TIndices at{};
  if (!memory_ || !Load(at)) return kBroken;
  WipePassed(at);
  const auto count = static_cast<std::uint32_t>(std::min<std::size_t>(Space(at), length));
  if (count == 0) return 0;
  const std::uint32_t straight = std::min(count, capacity_ - at.write);
  std::byte* const data = memory_ + kHeaderBytes;
  std::memcpy(data + at.write, bytes, straight);
  std::memcpy(data, bytes + straight, count - straight);
  touched_ = std::max(touched_, at.write + straight);
  if (MayBeSecret(count)) Remember(at.write, count);
  TIndex(Header().writeIndex).store(After(at.write, count), std::memory_order_release);
  return count;
}

std::ptrdiff_t TShMemRing::Read(char* buffer, std::size_t size) {
  TIndices at{};
  if (!memory_ || !Load(at)) return kBroken;
  const auto count = static_cast<std::uint32_t>(std::min<std::size_t>(Distance(at.read, at.write), size));
  if (count == 0) return 0;
  const std::uint32_t straight = std::min(count, capacity_ - at.read);
  const std::byte* const data = memory_ + kHeaderBytes;
  std::memcpy(buffer, data + at.read, straight);
  std::memcpy(buffer + straight, data, count - straight);
  if (MayBeSecret(count)) Wipe(at.read, count);
  TIndex(Header().readIndex).store(After(at.read, count), std::memory_order_release);
  return count;
}

// ---- what stays behind ----

bool TShMemRing::MayBeSecret(std::uint32_t count) {
  if (first_ >= kFirstBytes) return count <= kSmallBytes;
  first_ += std::min(count, kFirstBytes);
  return true;
}

void TShMemRing::Wipe(std::uint32_t index, std::uint32_t count) const {
  const std::uint32_t straight = std::min(count, capacity_ - index);
  std::byte* const data = memory_ + kHeaderBytes;
  WipeBytes(data + index, straight);
  WipeBytes(data, count - straight);
}

void TShMemRing::Remember(std::uint32_t index, std::uint32_t count) {
  if (smallBytes_ == 0) smallAt_ = index;
  smallBytes_ = Distance(smallAt_, index) + count;
}

void TShMemRing::WipePassed(const TIndices& at) {
  if (smallBytes_ == 0) return;
  const std::uint32_t written = Distance(smallAt_, at.write), unread = Distance(at.read, at.write);
  if (written <= unread) return;
  const std::uint32_t count = std::min(smallBytes_, written - unread);
  Wipe(smallAt_, count);
  smallAt_ = After(smallAt_, count);
  smallBytes_ -= count;
}

void TShMemRing::WipePassed() {
  TIndices at{};
  if (memory_ && Load(at)) WipePassed(at);
}

// The free part extends from the write index to the read index.
void TShMemRing::WipeAll() {
  TIndices at{};
  if (!memory_ || !Load(at)) at = {};
  std::byte* const data = memory_ + kHeaderBytes;
  const std::uint32_t before = std::min(at.read, touched_);
  if (at.write < at.read) {
    WipeBytes(data + at.write, before > at.write ? before - at.write : 0);
  } else {
    WipeBytes(data, before);
    if (touched_ > at.write) WipeBytes(data + at.write, touched_ - at.write);
  }
  touched_ = smallBytes_ = 0;
}

}  // namespace Dova
