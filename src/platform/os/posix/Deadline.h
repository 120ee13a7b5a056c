// A mutex and a condition variable using the monotonic clock.
#pragma once

#include <pthread.h>

#include <cstdint>
#include <ctime>

#include "platform/os/Process.h"

namespace Dova::Os {

struct TMonotonicCondition {
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  pthread_cond_t condition{};
  const unsigned generation = ProcessGeneration();

  TMonotonicCondition() {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&condition, &attributes);
    pthread_condattr_destroy(&attributes);
  }
  // Not destroyed in a forked child: it may have waiters there that never leave, and destruction would wait
  // for them.
  ~TMonotonicCondition() {
    if (generation != ProcessGeneration()) return;
    pthread_cond_destroy(&condition);
    pthread_mutex_destroy(&mutex);
  }
  TMonotonicCondition(const TMonotonicCondition&) = delete;
  TMonotonicCondition& operator=(const TMonotonicCondition&) = delete;

  // Waits with the mutex held; INT64_MAX means no limit. Spurious wake-ups are possible.
  void WaitUntil(std::int64_t dueNs) {
    if (dueNs == INT64_MAX) {
      pthread_cond_wait(&condition, &mutex);
      return;
    }
    if (dueNs < 0) dueNs = 0;
    const timespec due{static_cast<time_t>(dueNs / 1'000'000'000), static_cast<long>(dueNs % 1'000'000'000)};
    pthread_cond_timedwait(&condition, &mutex, &due);
  }
};

}  // namespace Dova::Os
