#include "platform/os/Thread.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <mutex>

#include "platform/os/Alarm.h"
#include "platform/os/ErrorText.h"
#include "platform/os/Event.h"
#include "platform/os/Mutex.h"

namespace Dova::Os {
namespace {

TEST(Thread, LetsGoOfItsBodyBeforeTheJoinReturns) {
  auto held = std::make_shared<int>(1);
  TThread thread;
  ASSERT_TRUE(thread.Start("holder", [held] { EXPECT_EQ(*held, 1); }));
  ASSERT_TRUE(thread.Join());
  EXPECT_EQ(held.use_count(), 1);
}

#ifdef VEKAPI_CHECKED
TEST(MutexDeathTest, NobodyWaitsUnderALock) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  TEvent event;
  TAlarm alarm;
  TThread thread;
  ASSERT_TRUE(thread.Start("checked", [] {}));
  const struct {
    const char* name;
    std::function<void()> wait;
  } waits[] = {{"TEvent::Wait", [&] { event.Wait(1); }},
               {"TAlarm::WaitUntil", [&] { alarm.WaitUntil({}); }},
               {"TThread::Join", [&] { thread.Join(1); }}};
  TMutex mutex;
  for (const auto& [name, wait] : waits) {
    EXPECT_DEATH((std::lock_guard(mutex), wait()), name);
    EXPECT_DEATH((mutex.try_lock(), wait()), name);
    wait();
  }
  {
    const std::lock_guard lock(mutex);
    event.Wait(0);
  }
  std::unique_lock released(mutex);
  released.unlock();
  event.Wait(1);
}
#endif

TEST(ErrorText, KnownAndUnknown) {
  const std::string known = SysErrorMessage(2);  // "no such file" on both systems
  EXPECT_NE(known.find("ile"), std::string::npos) << known;
  EXPECT_EQ(known.find_last_of("\r\n "), known.find_last_of("\r\n ", known.size() - 2));
  EXPECT_EQ(SysErrorMessage(123456789), "Error 123456789");
}

}  // namespace
}  // namespace Dova::Os
