#include "platform/os/Mutex.h"

#include <gtest/gtest.h>

#include <functional>
#include <mutex>
#include <thread>

#include "platform/os/Alarm.h"
#include "platform/os/Event.h"
#include "platform/os/Thread.h"

namespace {

using namespace Dova::Os;

TEST(Mutex, KeepsOthersOut) {
  TMutex mutex;
  int count = 0;
  const auto work = [&] {
    for (int i = 0; i < 20'000; ++i) {
      const std::lock_guard lock(mutex);
      ++count;
    }
  };
  std::thread other(work);
  work();
  other.join();
  EXPECT_EQ(count, 40'000);
  const std::unique_lock held(mutex);
  std::thread([&] { EXPECT_FALSE(mutex.try_lock()); }).join();
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
               {"TAlarm::WaitUntil", [&] { alarm.WaitUntil(0); }},
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

}  // namespace
