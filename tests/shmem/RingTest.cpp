// Small rings in every state, also impossible ones, over memory as the other process sees it, byte by byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "shmem/TShMemRing.h"

namespace vektest {
namespace {

using Dova::TShMemRing;

// The ring's memory is between guards, which must not be modified.
class Memory {
 public:
  // The capacity in the memory must have no effect: it is read only once, before.
  Memory(std::uint32_t capacity, std::uint32_t read, std::uint32_t write)
      : bytes_(kGuard + 64 + capacity + kGuard, std::byte{0xA5}) {
    std::memset(Base(), 0, 64);
    for (std::uint32_t at = 0; at < capacity; ++at) Data(at) = static_cast<char>('a' + at);
    Set(0, 0xFFFFFFFF);
    Set(4, read);
    Set(8, write);
  }
  void Set(std::size_t offset, std::uint32_t value) { std::memcpy(Base() + offset, &value, 4); }
  std::uint32_t Get(std::size_t offset) {
    std::uint32_t value = 0;
    std::memcpy(&value, Base() + offset, 4);
    return value;
  }
  char& Data(std::size_t at) { return reinterpret_cast<char*>(Base())[64 + at]; }
  std::byte* Base() { return bytes_.data() + kGuard; }
  bool GuardsHold() const {
    for (std::size_t i = 0; i < kGuard; ++i) {
      if (bytes_[i] != std::byte{0xA5} || bytes_[bytes_.size() - 1 - i] != std::byte{0xA5}) return false;
    }
    return true;
  }

 private:
  static constexpr std::size_t kGuard = 256;
  std::vector<std::byte> bytes_;
};

struct State {
  std::uint32_t capacity, read, write;

  bool IsBroken() const { return read >= capacity || write >= capacity; }
  std::size_t Used() const { return (write + capacity - read) % capacity; }
};

constexpr std::ptrdiff_t kBroken = TShMemRing::kBroken;

void Write(const State& state, std::size_t length) {
  Memory memory(state.capacity, state.read, state.write);
  const std::string bytes = std::string("ABCDEFGH").substr(0, length);
  const auto wrote = TShMemRing(memory.Base(), state.capacity).Write(bytes.data(), length);
  EXPECT_EQ(memory.Get(4), state.read) << "the reader's index is the reader's";
  EXPECT_TRUE(memory.GuardsHold());
  if (state.IsBroken()) {
    EXPECT_EQ(wrote, kBroken);
    EXPECT_EQ(memory.Get(8), state.write);
    return;
  }
  const std::size_t fits = std::min<std::size_t>(length, state.capacity - 1 - state.Used());
  ASSERT_EQ(wrote, static_cast<std::ptrdiff_t>(fits));
  EXPECT_EQ(memory.Get(8), (state.write + fits) % state.capacity);
  for (std::size_t i = 0; i < fits; ++i) EXPECT_EQ(memory.Data((state.write + i) % state.capacity), bytes[i]);
}

void Read(const State& state, std::size_t length) {
  Memory memory(state.capacity, state.read, state.write);
  std::string buffer(length + 1, '#');
  const auto read = TShMemRing(memory.Base(), state.capacity).Read(buffer.data(), length);
  EXPECT_EQ(memory.Get(8), state.write) << "the writer's index is the writer's";
  EXPECT_TRUE(memory.GuardsHold());
  if (state.IsBroken()) {
    EXPECT_EQ(read, kBroken);
    EXPECT_EQ(memory.Get(4), state.read);
    return;
  }
  const std::size_t there = std::min(length, state.Used());
  ASSERT_EQ(read, static_cast<std::ptrdiff_t>(there));
  EXPECT_EQ(memory.Get(4), (state.read + there) % state.capacity);
  for (std::size_t i = 0; i < there; ++i)
    EXPECT_EQ(buffer[i], static_cast<char>('a' + (state.read + i) % state.capacity));
  EXPECT_EQ(buffer[there], '#');
}

TEST(Ring, MovesWhatFitsFromEveryState) {
  for (const std::uint32_t capacity : {1u, 2u, 3u, 4u, 6u}) {
    std::vector<std::uint32_t> indices{0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    for (std::uint32_t index = 0; index <= capacity; ++index) indices.push_back(index);
    for (const std::uint32_t read : indices) {
      for (const std::uint32_t write : indices) {
        for (std::size_t length = 0; length <= 8; ++length) {
          SCOPED_TRACE(testing::Message() << capacity << " " << read << " " << write << " " << length);
          Write({capacity, read, write}, length);
          Read({capacity, read, write}, length);
        }
      }
    }
  }
}

}  // namespace
}  // namespace vektest
