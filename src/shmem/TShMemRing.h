#pragma once

#include <cstddef>
#include <cstdint>

namespace Dova {

// One direction's ring as it lies in memory that another process writes to as well. The layout is shared with
// gateways that exist: nothing may be added to it. Numbers are in the machine's byte order.
struct TShMemHeader {
  std::uint32_t
      capacity;  // of the data area; one byte of it always stays free, so that full differs from empty
  std::uint32_t readIndex;   // where the reader goes on; written by the reader alone
  std::uint32_t writeIndex;  // where the writer goes on; written by the writer alone
  std::uint8_t reserved[52];
};
static_assert(sizeof(TShMemHeader) == 64 && offsetof(TShMemHeader, writeIndex) == 8);

// Reads or writes a ring. The other process may write anything anywhere at any time: each index is read once
// and held against the capacity, which is a number of our own since the memory was mapped. An index outside
// the ring makes it broken; an index that is wrong but inside gives wrong bytes, and nothing worse.
//
// One writer and one reader at a time; they need no lock against each other.
class TShMemRing {
 public:
  static constexpr std::uint32_t kHeaderBytes = sizeof(TShMemHeader);
  static constexpr std::ptrdiff_t kBroken = -1;

  TShMemRing() = default;
  // `memory` holds the header and `capacity` bytes.
  TShMemRing(std::byte* memory, std::uint32_t capacity) : memory_(memory), capacity_(capacity) {}

  // What a ring's memory says its capacity is. Untrusted, and may be different the next time.
  static std::uint32_t CapacityIn(const std::byte* memory);

  // For the creator: an empty ring. `bytes` is the size of the memory.
  static void Format(std::byte* memory, std::size_t bytes, std::uint32_t capacity);

  explicit operator bool() const { return memory_ != nullptr; }

  // Copies what fits, or what is there: the count, 0 when the ring is full or empty, or kBroken.
  std::ptrdiff_t Write(const char* bytes, std::size_t length) const;
  std::ptrdiff_t Read(char* buffer, std::size_t size) const;

 private:
  struct TIndices {
    std::uint32_t read;
    std::uint32_t write;
  };
  TShMemHeader& Header() const { return *reinterpret_cast<TShMemHeader*>(memory_); }
  bool Load(TIndices& indices) const;
  std::uint32_t After(std::uint32_t index, std::uint32_t count) const;

  std::byte* memory_ = nullptr;
  std::uint32_t capacity_ = 0;
};

}  // namespace Dova
