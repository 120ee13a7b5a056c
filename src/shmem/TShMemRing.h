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
// What small messages, and the first ones, leave behind in the memory may be secrets: it is overwritten with
// zeros, by the reader at once, by the writer when it sees that the reader has passed.
//
// One writer and one reader at a time, each with an object of its own; they need no lock against each other.
class TShMemRing {
 public:
  static constexpr std::uint32_t kHeaderBytes = sizeof(TShMemHeader);
  static constexpr std::ptrdiff_t kBroken = -1;
  // Moved in one piece of up to so many bytes, it may be a secret; more is a stream. So may all be that comes
  // first.
  static constexpr std::uint32_t kSmallBytes = 1024;
  static constexpr std::uint32_t kFirstBytes = 16384;

  TShMemRing() = default;
  // `memory` holds the header and `capacity` bytes.
  TShMemRing(std::byte* memory, std::uint32_t capacity) : memory_(memory), capacity_(capacity) {}

  // What a ring's memory says its capacity is. Untrusted, and may be different the next time.
  static std::uint32_t CapacityIn(const std::byte* memory);

  // For the creator: an empty ring. `bytes` is the size of the memory.
  static void Format(std::byte* memory, std::size_t bytes, std::uint32_t capacity);

  explicit operator bool() const { return memory_ != nullptr; }
  std::uint32_t Capacity() const { return capacity_; }

  // Copies what fits, or what is there: the count, 0 when the ring is full or empty, or kBroken.
  std::ptrdiff_t Write(const char* bytes, std::size_t length);
  std::ptrdiff_t Read(char* buffer, std::size_t size);

  // Bytes that Write would take; 0 of a broken ring.
  std::size_t Space() const;
  // Read would not answer 0.
  bool HasNews() const;

  // For the writer: wipes what small messages have left and the reader has passed.
  void WipePassed();
  // For the writer, at the end: wipes all that it has written, but for what the reader still has to read.
  void WipeAll();

 private:
  struct TIndices {
    std::uint32_t read;
    std::uint32_t write;
  };
  TShMemHeader& Header() const { return *reinterpret_cast<TShMemHeader*>(memory_); }
  bool Load(TIndices& indices) const;
  std::uint32_t After(std::uint32_t index, std::uint32_t count) const;
  std::uint32_t Distance(std::uint32_t from, std::uint32_t to) const;
  std::uint32_t Space(const TIndices& at) const;
  bool MayBeSecret(std::uint32_t count);
  void Wipe(std::uint32_t index, std::uint32_t count) const;
  void WipePassed(const TIndices& at);
  void Remember(std::uint32_t index, std::uint32_t count);

  std::byte* memory_ = nullptr;
  std::uint32_t capacity_ = 0;
  std::uint32_t first_ = 0;    // of the first bytes, how many were moved
  std::uint32_t touched_ = 0;  // what lies behind it was never written by this side
  // The writer's secrets that may still be there; what lies between two of them counts with them.
  std::uint32_t smallAt_ = 0;
  std::uint32_t smallBytes_ = 0;
};

}  // namespace Dova
