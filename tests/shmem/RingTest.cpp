// The ring over memory written by hand, byte by byte, as seen by the other process.
#include <gtest/gtest.h>

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
  explicit Memory(std::uint32_t capacity) : bytes_(kGuard + 64 + capacity + kGuard, std::byte{0xA5}) {
    std::memset(bytes_.data() + kGuard, 0, 64 + capacity);
    Set(0, capacity);
  }
  void Set(std::size_t offset, std::uint32_t value) { std::memcpy(Base() + offset, &value, 4); }
  std::uint32_t Get(std::size_t offset) {
    std::uint32_t value = 0;
    std::memcpy(&value, Base() + offset, 4);
    return value;
  }
  // The capacity in the memory must have no effect: it is read only once, before.
  void SetIndices(std::uint32_t read, std::uint32_t write) {
    Set(0, 0xFFFFFFFF);
    Set(4, read);
    Set(8, write);
  }
  std::string Data(std::size_t at, std::size_t count) {
    return {reinterpret_cast<const char*>(Base()) + 64 + at, count};
  }
  void PutData(std::size_t at, const std::string& text) {
    std::memcpy(Base() + 64 + at, text.data(), text.size());
  }
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

struct Case {
  std::uint32_t capacity, read, write;
  std::size_t length;
  std::ptrdiff_t moved;
  std::uint32_t indexAfter;
};

constexpr std::ptrdiff_t kBroken = TShMemRing::kBroken;

TEST(Ring, WritesWhatFits) {
  const Case cases[] = {{11, 0, 0, 4, 4, 4},
                        {11, 0, 0, 10, 10, 10},
                        {11, 0, 0, 11, 10, 10},
                        {11, 5, 5, 6, 6, 0},  // ends at the capacity exactly
                        {11, 5, 5, 7, 7, 1},
                        {11, 5, 5, 99, 10, 4},
                        {11, 5, 4, 1, 0, 4},
                        {11, 0, 10, 1, 0, 10},  // full, with the writer at the very end
                        {11, 5, 2, 9, 2, 4},
                        {11, 3, 8, 3, 3, 0},
                        {11, 3, 8, 0, 0, 8},
                        {1, 0, 0, 5, 0, 0},
                        {2, 0, 1, 1, 0, 1},
                        {2, 1, 1, 1, 1, 0},
                        {11, 11, 0, 1, kBroken, 0},
                        {11, 0, 11, 1, kBroken, 11},
                        {11, 0xFFFFFFFF, 3, 1, kBroken, 3},
                        {11, 3, 0x80000000, 1, kBroken, 0x80000000}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.capacity << " " << c.read << " " << c.write << " " << c.length);
    Memory memory(c.capacity);
    memory.SetIndices(c.read, c.write);
    std::string bytes(c.length, '\0');
    for (std::size_t i = 0; i < c.length; ++i) bytes[i] = static_cast<char>('a' + i % 26);
    EXPECT_EQ(TShMemRing(memory.Base(), c.capacity).Write(bytes.data(), bytes.size()), c.moved);
    EXPECT_EQ(memory.Get(8), c.indexAfter);
    EXPECT_EQ(memory.Get(4), c.read) << "the reader's index is the reader's";
    for (std::ptrdiff_t i = 0; i < c.moved; ++i) {
      EXPECT_EQ(memory.Data((c.write + static_cast<std::size_t>(i)) % c.capacity, 1)[0],
                bytes[static_cast<std::size_t>(i)]);
    }
    EXPECT_TRUE(memory.GuardsHold());
  }
}

TEST(Ring, ReadsWhatIsThere) {
  const Case cases[] = {{11, 0, 0, 4, 0, 0},        {11, 0, 4, 9, 4, 4},
                        {11, 0, 10, 3, 3, 3},       {11, 7, 0, 9, 4, 0},  // ends at the capacity exactly
                        {11, 7, 3, 9, 7, 3},        {11, 7, 3, 5, 5, 1},
                        {11, 10, 9, 99, 10, 9},     {2, 1, 0, 1, 1, 0},
                        {11, 4, 9, 0, 0, 4},        {11, 11, 0, 9, kBroken, 11},
                        {11, 2, 11, 9, kBroken, 2}, {11, 2, 0xFFFFFFFF, 9, kBroken, 2}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.capacity << " " << c.read << " " << c.write << " " << c.length);
    Memory memory(c.capacity);
    memory.SetIndices(c.read, c.write);
    memory.PutData(0, std::string("abcdefghijk").substr(0, c.capacity));
    std::string buffer(c.length + 1, '#');
    EXPECT_EQ(TShMemRing(memory.Base(), c.capacity).Read(buffer.data(), c.length), c.moved);
    EXPECT_EQ(memory.Get(4), c.indexAfter);
    EXPECT_EQ(memory.Get(8), c.write) << "the writer's index is the writer's";
    for (std::ptrdiff_t i = 0; i < c.moved; ++i) {
      EXPECT_EQ(buffer[static_cast<std::size_t>(i)],
                static_cast<char>('a' + (c.read + static_cast<std::size_t>(i)) % c.capacity));
    }
    EXPECT_EQ(buffer[static_cast<std::size_t>(std::max<std::ptrdiff_t>(c.moved, 0))], '#');
  }
}

}  // namespace
}  // namespace vektest
