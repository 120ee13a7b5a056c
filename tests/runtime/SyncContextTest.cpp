#include "platform/runtime/TSyncContext.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <random>
#include <thread>
#include <vector>

#include "platform/os/Event.h"
#include "platform/runtime/TSyncObj.h"
#include "support/Rendezvous.h"

namespace Dova {
namespace {

using Context = Dstl::wise_ref<TSyncContext>;

TEST(SyncContext, OneThreadAtATimeAndRecursive) {
  const auto context = Dstl::make_ref<TSyncContext>();
  int counter = 0;  // unguarded on purpose: ThreadSanitizer checks it
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 5000; ++round) {
        const TSyncScope outer(context);
        const TSyncScope inner(context);
        ASSERT_TRUE(outer && inner && context->IsInside());
        ++counter;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(counter, 20'000);
  EXPECT_FALSE(context->IsInside());
}

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

// Starts a thread that enters, and returns once it waits.
template <class TBody>
std::thread Waiting(TBody body) {
  Os::TEvent started;
  std::thread thread([&started, body] {
    started.Set();
    body();
  });
  started.Wait();
  return thread;
}

TEST(SyncContext, CancelledAndAbortedWaitsGiveUp) {
  const auto context = Dstl::make_ref<TSyncContext>();
  {
    const TSyncScope inside(context);
    std::atomic<bool> cancelled{false};
    std::thread cancel = Waiting([&] { EXPECT_FALSE(TSyncScope(context, &cancelled)); });
    std::thread abort = Waiting([&] { EXPECT_FALSE(TSyncScope(context)); });
    cancelled = true;
    context->Kick();
    cancel.join();
    context->Abort();
    abort.join();
    EXPECT_TRUE(TSyncScope(context)) << "the one inside stays inside";
  }
  EXPECT_FALSE(TSyncScope(context));
}

// Threads in a ring, each inside one context and entering the next one's. The thread that would close the
// cycle enters instead of waiting, and the others follow as it leaves.
TEST(SyncContext, RingsOfWaitsAreNotWaited) {
  for (const std::size_t size : {2U, 3U, 5U}) {
    for (int round = 0; round < 200; ++round) {
      std::vector<Context> contexts;
      for (std::size_t i = 0; i < size; ++i) contexts.push_back(Dstl::make_ref<TSyncContext>());
      std::vector<int> counters(size);  // unguarded on purpose
      vektest::Rendezvous allInside(size);
      std::vector<std::thread> threads;
      for (std::size_t i = 0; i < size; ++i) {
        threads.emplace_back([&, i] {
          const TSyncScope own(contexts[i]);
          allInside.Meet();
          const TSyncScope next(contexts[(i + 1) % size]);
          ASSERT_TRUE(next && contexts[(i + 1) % size]->IsInside());
          const TSyncScope again(contexts[(i + 1) % size]);
          ++counters[(i + 1) % size];
        });
      }
      for (auto& thread : threads) thread.join();
      for (std::size_t i = 0; i < size; ++i) {
        EXPECT_EQ(counters[i], 1);
        EXPECT_TRUE(TSyncScope(contexts[i])) << "left behind free";
      }
    }
  }
}

// The same at random, with more contexts than threads: no deadlock, and never two threads inside.
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
}

class CountingSync : public TSyncObj {
 public:
  using TSyncObj::TSyncObj;
  int runs = 0;

 protected:
  void OnSync() override { ++runs; }
};

TEST(SyncObj, RunsInsideOrNotAtAll) {
  const auto context = Dstl::make_ref<TSyncContext>();
  CountingSync sync(context);
  EXPECT_TRUE(sync.WaitSync(false));
  const TSyncScope inside(context);
  std::thread([&] { EXPECT_FALSE(sync.WaitSync(false)); }).join();
  std::thread waiting = Waiting([&] { EXPECT_FALSE(sync.WaitSync(true)); });
  sync.AbortSync();
  waiting.join();
  EXPECT_EQ(sync.runs, 1);
}

}  // namespace
}  // namespace Dova
