// Whoever falls asleep while it is woken stays awake: the waker comes a little later in each round, so that
// it meets every step of it.
#include "platform/os/posix/TWakeWord.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>

#include "support/Sanitized.h"

namespace Dova::Os {
namespace {

struct TRaced {
  TWakeWord word;
  std::atomic<bool> over{false};
};

struct TWay {
  const char* name;
  std::function<void(TRaced&)> wake;
  bool isSet;  // what the wait says
};

const TWay kWays[] = {
    {"set", [](TRaced& raced) { raced.word.Set(); }, true},
    {"stirred",
     [](TRaced& raced) {
       raced.over.store(true);
       raced.word.Stir();
     },
     false},
};

TEST(WakeWord, NobodySleepsThroughAWakeUp) {
  constexpr int kRounds = TestSupport::kSanitized ? 30'000 : 300'000;
  for (const TWay& way : kWays) {
    SCOPED_TRACE(way.name);
    TRaced raced;
    std::atomic<int> waiting{0};
    std::thread waiter([&] {
      for (int round = 1; round <= kRounds; ++round) {
        raced.over.store(false);
        waiting.store(round);
        EXPECT_EQ(raced.word.WaitUntil(INT64_MAX, raced.over), way.isSet);
      }
    });
    for (int round = 1; round <= kRounds; ++round) {
      for (int looks = 1; waiting.load() != round; ++looks) {
        if (looks % 1000 == 0) std::this_thread::yield();
      }
      for (volatile int later = round % 100; later > 0;) later = later - 1;
      way.wake(raced);
    }
    waiter.join();
  }
}

}  // namespace
}  // namespace Dova::Os
