#include "platform/os/Processor.h"

#include <gtest/gtest.h>

TEST(Processor, HasWhatTheCompilersLibraryFinds) {
  const bool found =
      __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("popcnt");
  EXPECT_EQ(Dova::Os::HasAvx2(), found);
}
