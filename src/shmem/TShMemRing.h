#pragma once

#include <cstddef>
#include <cstdint>

namespace Dova {

// A ring for one direction, in memory that another process writes to as well. The layout is shared with
// existing gateways: nothing may be added. Numbers are in the machine's byte order.
struct TShMemHeader {
  std::uint32_t capacity;    // of the data area; one byte always stays free, to distinguish full from empty
  std::uint32_t readIndex;   // next position to read; written only by the reader
  std::uint32_t writeIndex;  // next position to write; written only by the writer
  std::uint8_t reserved[52];
};
static_assert(sizeof(TShMemHeader) == 64 && offsetof(TShMemHeader, writeIndex) == 8);

// Reads or writes a ring. The other process may write anything anywhere at any time. Each index is read once
// and checked against the capacity, of which we keep our own copy since mapping. An index out of range makes
// the ring broken; a wrong index in range only yields wrong bytes.
//
// Bytes left in the memory by small messages, and by the first ones, may be secret: the reader overwrites
// them with zeros at once, the writer when it sees that the reader has passed them.
//
// One writer and one reader at a time, each with its own object; they need no common lock.
class TShMemRing {
 public:
  static constexpr std::uint32_t kHeaderBytes = sizeof(TShMemHeader);
  static constexpr std::ptrdiff_t kBroken = -1;
  // Data moved in one piece up to this size may be secret; larger pieces are a stream. The first bytes of a
  // link may be secret in any case.
  static constexpr std::uint32_t kSmallBytes = 1024;
  static constexpr std::uint32_t kFirstBytes = 16384;

  TShMemRing() = default;
  // `memory` contains the header and `capacity` bytes.
  TShMemRing(std::byte* memory, std::uint32_t capacity) : memory_(memory), capacity_(capacity) {}

  // The capacity stored in a ring's memory. Untrusted, and may change between calls.
  static std::uint32_t CapacityIn(const std::byte* memory);

  // For the creator: initialises an empty ring. `bytes` is the size of the memory.
  static void Format(std::byte* memory, std::size_t bytes, std::uint32_t capacity);

  explicit operator bool() const { return memory_ != nullptr; }
  std::uint32_t Capacity() const { return capacity_; }

  // Copies what fits, or what is available. Returns the count, 0 if the ring is full or empty, or kBroken.
  std::ptrdiff_t Write(const char* bytes, std::size_t length);
  std::ptrdiff_t Read(char* buffer, std::size_t size);

  // Free space for Write, in bytes; 0 for a broken ring.
  std::size_t Space() const;
  // True if Read would not return 0.
  bool HasNews() const;

  // For the writer: wipes the bytes of small messages that the reader has passed.
  void WipePassed();
  // For the writer, at the end: wipes everything it has written, except what the reader has yet to read.
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
  std::uint32_t first_ = 0;    // number of the first bytes moved so far
  std::uint32_t touched_ = 0;  // this side never wrote beyond this position
  // The range of the writer's secrets that may still be there, including what is between them.
  std::uint32_t smallAt_ = 0;
  std::uint32_t smallBytes_ = 0;
};

}  // namespace Dova
