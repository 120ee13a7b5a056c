// The context with threads of the system.
#include "platform/runtime/TSyncContext.h"

#include <gtest/gtest.h>

#include <thread>

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

}  // namespace
}  // namespace Dova
