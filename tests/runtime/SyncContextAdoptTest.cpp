#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "platform/os/Event.h"
#include "platform/os/Thread.h"
#include "platform/runtime/TSyncContext.h"

namespace Dova {
namespace {

using Context = Dstl::wise_ref<TSyncContext>;

// A thread that is inside the context, with depth two, and waits while this thread runs `body` in its place.
template <class TBody>
void InPlaceOfAnother(const Context& context, TBody body) {
  Os::TEvent asked;
  Os::TEvent answered;
  std::uintptr_t lender = 0;
  std::thread other([&] {
    const TSyncScope once(context);
    const TSyncScope twice(context);
    ASSERT_TRUE(once && twice);
    lender = Os::CurrentThreadToken();
    asked.Set();
    answered.Wait();
    EXPECT_TRUE(context->IsInside()) << "the place was given back";
  });
  asked.Wait();
  {
    const TSyncContext::TAdopt inside(context, lender);
    body();
  }
  EXPECT_FALSE(context->IsInside());
  answered.Set();
  other.join();
}

TEST(SyncContextAdopt, LetsNobodyElseIn) {
  const auto context = Dstl::make_ref<TSyncContext>();
  std::atomic<bool> entered{false};
  std::thread waiting;
  InPlaceOfAnother(context, [&] {
    EXPECT_TRUE(context->IsInside());
    waiting = std::thread([&] {
      const TSyncScope scope(context);
      EXPECT_TRUE(scope);
      entered = true;
    });
    for (int round = 0; round < 100; ++round) {
      const TSyncScope scope(context);
      ASSERT_TRUE(scope);
    }
    EXPECT_FALSE(entered);
  });
  waiting.join();
  EXPECT_TRUE(entered) << "it was let in in its turn";
}

TEST(SyncContextAdopt, OutlivesAnAbort) {
  const auto context = Dstl::make_ref<TSyncContext>();
  InPlaceOfAnother(context, [&] {
    context->Abort();
    EXPECT_TRUE(TSyncScope(context));
  });
  EXPECT_FALSE(TSyncScope(context));
}

TEST(SyncContextAdopt, IsNothingWhenTheOtherIsNotInside) {
  const auto context = Dstl::make_ref<TSyncContext>();
  std::uintptr_t stranger = 0;
  std::thread([&] { stranger = Os::CurrentThreadToken(); }).join();
  {
    const TSyncContext::TAdopt inside(context, stranger);
    EXPECT_FALSE(context->IsInside());
  }
  const TSyncContext::TAdopt none({}, stranger);
  {
    const TSyncScope inside(context);
    {
      const TSyncContext::TAdopt mine(context, Os::CurrentThreadToken());
      EXPECT_TRUE(context->IsInside());
    }
    EXPECT_TRUE(context->IsInside());
  }
  EXPECT_FALSE(context->IsInside());
}

}  // namespace
}  // namespace Dova
