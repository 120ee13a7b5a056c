#include <gtest/gtest.h>

#include "sim/SimRateWatch.h"
#include "sim/SimRequests.h"
#include "sim/SimUsers.h"

namespace VekSim {
namespace {

TEST(Requests, ArgumentsAreSeparatedByOnesOrBlanks) {
  const SimRequest request = ParseRequest("w7 new\nprod=TXF\x01side=B qty=2\x01note=a=b\n");
  EXPECT_EQ(request.workId, "w7");
  EXPECT_EQ(request.verb, "new");
  EXPECT_EQ(request.args, (std::map<std::string, std::string>{
                              {"prod", "TXF"}, {"side", "B"}, {"qty", "2"}, {"note", "a=b"}}));
}

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

TEST(Users, SecondIdNarrowsToAnAccountOfTheUser) {
  const SimUsers users{SimConfig{}};
  struct {
    const char *identity, *password;
    std::size_t accounts;  // 0: refused
  } const cases[] = {{"trader/", "secret", 2},        {"trader/trader", "secret", 2},
                     {"trader", "secret", 2},         {"trader/9800002", "secret", 1},
                     {"trader/9800009", "secret", 0}, {"trader/", "Secret", 0},
                     {"nobody/", "secret", 0}};
  for (const auto& one : cases) {
    const auto login = users.SignOn(one.identity, one.password);
    EXPECT_EQ(login ? login->accounts.size() : 0, one.accounts) << one.identity << ' ' << one.password;
  }
}

}  // namespace
}  // namespace VekSim
