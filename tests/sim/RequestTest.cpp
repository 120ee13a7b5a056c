#include <gtest/gtest.h>

#include "sim/SimRateWatch.h"
#include "sim/SimRequests.h"

namespace VekSim {
namespace {

TEST(Requests, BatchesHoldPairsOfLines) {
  struct {
    const char* text;
    std::vector<std::string> workIds;
  } const cases[] = {
      {"a new\nx=1\nb new\nx=2", {"a", "b"}},
      {"a new\nx=1\nb new\nx=2\n", {"a", "b"}},
      {"a new\nx=1\nb new", {"a", "b"}},
      {"a new\n\nb new\nx=2", {"a", "b"}},
      {"a new", {"a"}},
      {"", {}},
  };
  for (const auto& one : cases) {
    std::vector<std::string> workIds;
    for (const SimRequest& request : ParseBatch(one.text)) workIds.push_back(request.workId);
    EXPECT_EQ(workIds, one.workIds) << one.text;
  }
}

std::size_t Violations(const SimRate& rate, const std::vector<int>& arrivals) {
  RateWatch watch(rate);
  std::size_t violations = 0;
  for (const int ms : arrivals) violations += watch.Arrive(std::chrono::milliseconds(ms)) ? 0 : 1;
  return violations;
}

TEST(RateWatch, CountsArrivalsAboveTheRateOfAnyWindow) {
  const SimRate two{2, 1000, 0};
  EXPECT_EQ(Violations(two, {0, 400, 1000, 1400}), 0u);
  EXPECT_EQ(Violations(two, {0, 400, 999}), 1u);
  EXPECT_EQ(Violations(two, {900, 950, 1050, 1100}), 2u) << "a window may lie across any whole second";
  EXPECT_EQ(Violations(two, {0, 0, 0, 0, 0}), 3u);
  EXPECT_EQ(Violations(two, {0, 1, 2, 1000}), 2u) << "an arrival that broke the rate fills the window too";
  EXPECT_EQ(Violations({2, 1000, 20}, {0, 400, 980, 1379}), 1u);
  EXPECT_EQ(Violations({0, 1000, 0}, {0, 0, 0}), 0u);
}

}  // namespace
}  // namespace VekSim
