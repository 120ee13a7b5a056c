#include "platform/os/Thread.h"

#include <gtest/gtest.h>

#include <memory>

#include "platform/os/ErrorText.h"
#include "platform/os/Event.h"

namespace {

using Dova::Os::CurrentThreadToken;
using Dova::Os::TEvent;
using Dova::Os::TThread;

TEST(Thread, RunsAndJoins) {
  TThread thread;
  EXPECT_TRUE(thread.Join());
  TEvent go;
  std::uintptr_t token = 0;
  bool current = false;
  ASSERT_TRUE(thread.Start("worker", [&] {
    go.Wait();
    token = CurrentThreadToken();
    current = thread.IsCurrent();
  }));
  EXPECT_FALSE(thread.Join(10));
  EXPECT_FALSE(thread.IsCurrent());
  go.Set();
  EXPECT_TRUE(thread.Join());
  EXPECT_TRUE(current);
  EXPECT_NE(token, 0U);
  EXPECT_NE(token, CurrentThreadToken());
  ASSERT_TRUE(thread.Start("again", [] {}));
  EXPECT_TRUE(thread.Join());
}

TEST(Thread, LetsGoOfItsBodyBeforeTheJoinReturns) {
  auto held = std::make_shared<int>(1);
  TThread thread;
  ASSERT_TRUE(thread.Start("holder", [held] { EXPECT_EQ(*held, 1); }));
  ASSERT_TRUE(thread.Join());
  EXPECT_EQ(held.use_count(), 1);
}

TEST(Thread, DetachedEndsByItself) {
  const auto ran = std::make_shared<TEvent>();
  {
    TThread thread;
    ASSERT_TRUE(thread.Start("detached", [ran] { ran->Set(); }));
  }
  EXPECT_TRUE(ran->Wait());
}

TEST(ErrorText, KnownAndUnknown) {
  const std::string known = Dova::SysErrorMessage(2);  // "no such file" on both systems
  EXPECT_NE(known.find("ile"), std::string::npos) << known;
  EXPECT_EQ(known.find_last_of("\r\n "), known.find_last_of("\r\n ", known.size() - 2));
  EXPECT_EQ(Dova::SysErrorMessage(123456789), "Error 123456789");
}

}  // namespace
