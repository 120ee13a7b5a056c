#include "platform/os/posix/TWakeWord.h"

#include "platform/os/Clock.h"
#include "platform/os/posix/Futex.h"

namespace Dova::Os {
namespace {

constexpr std::uint32_t kAnyone = FUTEX_BITSET_MATCH_ANY;

}  // namespace

bool TWakeWord::Take() noexcept {
  std::uint32_t seen = word_.load();
  while ((seen & kSet) != 0) {
    if (word_.compare_exchange_weak(seen, seen & ~kSet)) return true;
  }
  return false;
}

// `over` is read after the word: if it is set in between, the word is no longer what was seen.
bool TWakeWord::WaitUntil(std::int64_t dueNs, const std::atomic<bool>& over) noexcept {
  for (;;) {
    const std::uint32_t seen = word_.load();
    if (Take()) return true;
    if (over.load() || (dueNs != INT64_MAX && MonotonicNs() >= dueNs)) return false;
    if ((seen & kSet) == 0) Sleep(seen, dueNs);
  }
}

// All of them, because whoever sleeps from now on is told apart by the bit alone.
void TWakeWord::WakeAll() noexcept {
  WakeSleepers(&word_, kAnyone, fut_Process);
}

void TWakeWord::Sleep(std::uint32_t seen, std::int64_t dueNs) noexcept {
  const std::uint32_t asleep = seen | kAsleep;
  if (asleep == seen || word_.compare_exchange_strong(seen, asleep))
    SleepOn(&word_, asleep, kAnyone, dueNs, fut_Process);
}

}  // namespace Dova::Os
