// The context with threads of the system.
#include "platform/runtime/TSyncContext.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/runtime/TSyncObj.h"

namespace Dova {
namespace {

// A thread that leaves and re-enters at once, like a streaming link, lets a waiting thread in first.
TEST(SyncContext, NobodyIsStarved) {
  const auto context = Dstl::make_ref<TSyncContext>();
  std::atomic<bool> stop{false};
  std::thread greedy([&] {
    while (!stop) const TSyncScope inside(context);
  });
  for (int round = 0; round < 200; ++round) ASSERT_TRUE(TSyncScope(context));
  stop = true;
  greedy.join();
}

struct TCounting : TSyncObj {
  using TSyncObj::TSyncObj;
  void OnSync() override { ++runs; }
  int runs = 0;
};

TEST(SyncContext, AnActionThatDoesNotWaitRunsOnlyIfTheContextIsFree) {
  const auto context = Dstl::make_ref<TSyncContext>();
  TCounting action(context);
  const auto tried = [&] {
    bool ran = false;
    std::thread([&] { ran = action.WaitSync(false); }).join();
    return ran;
  };
  {
    const TSyncScope inside(context);
    EXPECT_FALSE(tried());
    EXPECT_TRUE(action.WaitSync(false)) << "this thread is inside already";
  }
  EXPECT_TRUE(tried());
  EXPECT_EQ(action.runs, 2);
}

}  // namespace
}  // namespace Dova
