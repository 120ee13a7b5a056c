#include "platform/mbus/TSyncContext.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platform/mbus/TSyncObj.h"
#include "platform/os/Event.h"

namespace Dova {
namespace {

using Context = Dstl::wise_ref<TSyncContext>;

TEST(SyncContext, OneThreadAtATimeAndRecursive) {
  const auto context = Dstl::make_ref<TSyncContext>();
  int counter = 0;  // unguarded otherwise: ThreadSanitizer watches
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

// A thread that leaves and enters again at once, as a streaming link does, lets the one go first that waits.
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
  ASSERT_TRUE(context->Enter());
  std::atomic<bool> cancelled{false};
  std::thread cancel = Waiting([&] { EXPECT_FALSE(context->Enter(&cancelled)); });
  std::thread abort = Waiting([&] { EXPECT_FALSE(context->Enter()); });
  cancelled = true;
  context->Kick();
  cancel.join();
  context->Abort();
  abort.join();
  EXPECT_TRUE(context->Enter()) << "the one inside stays inside";
  context->Leave();
  context->Leave();
  EXPECT_FALSE(context->Enter());
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
  ASSERT_TRUE(context->Enter());
  std::thread([&] { EXPECT_FALSE(sync.WaitSync(false)); }).join();
  std::thread waiting = Waiting([&] { EXPECT_FALSE(sync.WaitSync(true)); });
  sync.AbortSync();
  waiting.join();
  EXPECT_EQ(sync.runs, 1);
  context->Leave();
}

}  // namespace
}  // namespace Dova
