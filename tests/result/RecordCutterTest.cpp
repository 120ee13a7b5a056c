#include "result/RecordCutter.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace {

using VekApi::TByteMarks;

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
    VekApi::TMarkCounts quickly;
    VekApi::TMarkCounts slowly;
    const std::string_view counted(text, 1 + random() % sizeof text);
    VekApi::CountMarks(counted, quickly);
    VekApi::CountMarksPlainly(counted, slowly);
    ASSERT_EQ(quickly.values, slowly.values);
    ASSERT_EQ(quickly.lines, slowly.lines);
    ASSERT_EQ(quickly.marked, slowly.marked);
  }
}

}  // namespace
