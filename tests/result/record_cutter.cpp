#include "result/RecordCutter.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

using VekApi::TByteMarks;
using VekApi::TRecordArena;
using VekApi::TRecordCutter;

// What a table announces costs nothing: a short line of columns and many empty records must not multiply.
TEST(RecordCutter, MemoryFollowsTheTextNotTheColumns) {
  const std::string text(100000, '\n');
  TRecordArena arena;
  std::vector<char> copy(text.size() + TRecordCutter::kSlack);
  EXPECT_EQ(TRecordCutter(text, arena).Cut(0, 4000, copy.data()), text.size());
  EXPECT_EQ(arena.ends.Size(), text.size());
  EXPECT_EQ(arena.starts.Size(), text.size());
  EXPECT_LT(arena.KeptBytes(), text.size() * 16);
}

TEST(RecordCutter, StopsAtALineThatIsNoRecord) {
  for (const std::string next : {"\x02T\nx\n",
                                 "\x03"
                                 "A\nx\n",
                                 ""}) {
    for (std::size_t length = 0; length < 200; ++length) {
      const std::string records = std::string(length, 'r') + "\n\x01\n";
      const std::string text = "head\n" + records + next;
      TRecordArena arena;
      std::vector<char> copy(text.size() + TRecordCutter::kSlack);
      ASSERT_EQ(TRecordCutter(text, arena).Cut(5, 2, copy.data()), 5 + records.size());
      ASSERT_EQ(arena.ends.Size(), 2u);
      ASSERT_EQ(arena.starts.Size(), 3u);
    }
  }
}

TEST(RecordCutter, FastAndPlainMarksAgree) {
  std::mt19937 random(64);  // NOLINT: the same bytes each time
  for (int round = 0; round < 1000; ++round) {
    char text[VekApi::kMarkedBytes];
    for (char& c : text) c = static_cast<char>(random() % 3 ? random() % 12 : random());
    char fast[VekApi::kMarkedBytes];
    char plain[VekApi::kMarkedBytes];
    const TByteMarks a = VekApi::CopyCutting(text, fast);
    const TByteMarks b = VekApi::CopyCuttingPlainly(text, plain);
    ASSERT_EQ(a.cuts, b.cuts);
    ASSERT_EQ(a.lines, b.lines);
    ASSERT_EQ(a.nuls, b.nuls);
    ASSERT_EQ(std::string(fast, sizeof fast), std::string(plain, sizeof plain));
  }
}

}  // namespace
