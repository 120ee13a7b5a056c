#pragma once

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>
#include <ctime>

namespace Dova::Os {

// FUTEX_PRIVATE_FLAG for a word that only this process has, which is faster.
enum EFutexReach : int { fut_Machine = 0, fut_Process = FUTEX_PRIVATE_FLAG };

// Sleeps while the word equals `seen`; wakes for any of `bits`, at `dueNs` of the monotonic clock (INT64_MAX:
// never), or spuriously.
inline void SleepOn(const void* word, std::uint32_t seen, std::uint32_t bits, std::int64_t dueNs,
                    EFutexReach reach) noexcept {
  if (dueNs < 0) dueNs = 0;
  const timespec due{static_cast<time_t>(dueNs / 1'000'000'000), static_cast<long>(dueNs % 1'000'000'000)};
  syscall(SYS_futex, word, FUTEX_WAIT_BITSET | reach, seen, dueNs == INT64_MAX ? nullptr : &due, nullptr,
          bits);
}

// Only the address counts: the word itself may be gone.
inline void WakeSleepers(const void* word, std::uint32_t bits, EFutexReach reach) noexcept {
  syscall(SYS_futex, word, FUTEX_WAKE_BITSET | reach, INT32_MAX, nullptr, nullptr, bits);
}

}  // namespace Dova::Os
