// The context with threads of the system, and a thread acting on behalf of another.
#include "platform/runtime/TSyncContext.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <random>
#include <thread>
#include <vector>

namespace Dova {
namespace {

using Context = Dstl::wise_ref<TSyncContext>;

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

// More contexts than threads, entered in any order: no deadlock, and never two threads inside.
TEST(SyncContext, RandomNestingNeitherHangsNorMeets) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 3000;
  std::vector<Context> contexts;
  std::array<std::atomic<int>, 6> running{};
  for (std::size_t i = 0; i < running.size(); ++i) contexts.push_back(Dstl::make_ref<TSyncContext>());
  std::vector<std::thread> threads;
  for (unsigned seed = 0; seed < kThreads; ++seed) {
    threads.emplace_back([&, seed] {
      std::minstd_rand random(seed + 1);
      const std::function<void(int)> nest = [&](int depth) {
        const std::size_t at = random() % contexts.size();
        const TSyncScope inside(contexts[at]);
        ASSERT_TRUE(inside);
        // Calls further down the stacks, of this thread and of those sleeping below it, do not run meanwhile.
        const int before = running[at].load();
        running[at].store(before + 1);
        if (depth < 3 && random() % 3 != 0) nest(depth + 1);
        EXPECT_EQ(running[at].exchange(before), before + 1);
      };
      for (int round = 0; round < kRounds; ++round) nest(0);
    });
  }
  for (auto& thread : threads) thread.join();
  for (const Context& context : contexts) EXPECT_TRUE(TSyncScope(context)) << "left behind free";
}

}  // namespace
}  // namespace Dova
