#pragma once

#include <cstdint>
#include <memory>

namespace Dova::Os {

// Lets one thread sleep until a moment, to within about a millisecond or better, and be woken earlier by
// others.
class TAlarm {
 public:
  static constexpr std::int64_t kNever = INT64_MAX;

  TAlarm();
  ~TAlarm();
  TAlarm(const TAlarm&) = delete;
  TAlarm& operator=(const TAlarm&) = delete;

  // Returns at dueNs of MonotonicNs, or after a Wake. A Wake that came before the call ends it at once. One
  // thread at a time.
  void WaitUntil(std::int64_t dueNs) noexcept;
  void Wake() noexcept;

 private:
  struct TNative;
  std::unique_ptr<TNative> native_;
};

}  // namespace Dova::Os
