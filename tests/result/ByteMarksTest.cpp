#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "result/ByteMarks.h"
#include "result/TextMarks.h"

namespace {

using VekApi::kMarkedBytes;
using VekApi::TByteMarks;
using VekApi::TCutting;

// At every alignment, as many blocks at once, and as much room.
TEST(ByteMarks, EachByteIsMarked) {
  std::mt19937 random(64);  // NOLINT: the same bytes each time
  for (std::size_t round = 0; round < 2000; ++round) {
    const auto cutBlocks = round % 2 ? VekApi::CutBlocks : VekApi::CutBlocksPlainly;
    const std::size_t skipped = round / 2 % 64;
    const std::size_t blocks = round % 5;
    std::string text(skipped + blocks * kMarkedBytes, ' ');
    for (char& c : text) c = static_cast<char>(random() % 3 ? random() % 12 : random());
    std::string out(text.size(), '?');
    std::vector<TByteMarks> marks(blocks);
    std::vector<std::uint32_t> starts(kMarkedBytes + random() % (text.size() + 1));
    TCutting cutting{text.data() + skipped, out.data() + skipped, 1000, starts.data(),
                     starts.data() + starts.size()};
    const std::size_t done = cutBlocks(cutting, blocks, marks.data());
    const std::size_t nul = text.find('\0', skipped);
    const std::size_t all = nul == text.npos ? blocks : (nul - skipped) / kMarkedBytes + 1;
    ASSERT_LE(done, all);
    const std::uint32_t* start = starts.data();
    ASSERT_EQ(out.substr(0, skipped), std::string(skipped, '?'));
    for (std::size_t at = 0; at < done * kMarkedBytes; ++at) {
      const char byte = text[skipped + at];
      const bool counts = skipped + at < nul;
      const bool line = counts && byte == VekApi::kLineEnd;
      const bool cut = line || (counts && byte == VekApi::kValueEnd);
      const TByteMarks& block = marks[at / kMarkedBytes];
      const auto bit = [&](std::uint64_t bits) { return (bits >> at % kMarkedBytes & 1) != 0; };
      if (at % kMarkedBytes == 0) {
        ASSERT_EQ(block.starts, start);
        ASSERT_GE(static_cast<std::size_t>(cutting.startsEnd - start), kMarkedBytes);
      }
      ASSERT_EQ(bit(block.lines), line);
      ASSERT_EQ(bit(block.cuts), cut);
      ASSERT_EQ(bit(block.nuls), byte == '\0');
      if (counts) {
        ASSERT_EQ(out[skipped + at], cut ? '\0' : byte);
      }
      if (cut) {
        ASSERT_EQ(*start++, 1000 + at + 1);
      }
    }
    ASSERT_EQ(cutting.starts, start);
    ASSERT_TRUE(done == all || cutting.startsEnd < start + kMarkedBytes);
    ASSERT_EQ(cutting.at, 1000 + done * kMarkedBytes);
  }
}

}  // namespace
