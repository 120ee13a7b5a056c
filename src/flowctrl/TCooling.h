#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/os/Clock.h"

namespace Dova {

// The cooling slots of a limiter, oldest first, with the start of each one's cooling. Only Reserve allocates
// memory. Slots without an entry of their own share the newest entry, and all of them cool from its latest
// start: they become free later than necessary, never earlier. To limit the loss, an entry of a long list
// covers only a small part of the period.
class TCooling {
 public:
  TCooling() = default;
  TCooling(const TCooling&) = delete;
  TCooling& operator=(const TCooling&) = delete;

  // Reserves memory for `slots` that cool for `period`. Without memory it continues with the entries it
  // has.
  void Reserve(std::int64_t slots, Os::TClock::duration period) noexcept;

  // Removes all entries and frees the memory.
  void Clear() noexcept;

  void Add(Os::TTime now, std::int64_t slots) noexcept;

  // Removes the slots that have cooled for the period.
  void FreeUntil(Os::TTime now) noexcept;

  std::int64_t Slots() const noexcept { return slots_; }

  // When `missing` more slots will be free; Os::kNever if fewer are cooling.
  Os::TTime FreeAt(std::int64_t missing) const noexcept;

 private:
  struct TEntry {
    Os::TTime first;
    Os::TTime last;
    std::int64_t slots;
  };

  static constexpr std::size_t kFew = 8;
  static constexpr std::size_t kMany = 1024;

  bool Grow(std::size_t capacity) noexcept;
  bool FitsNewest(Os::TTime now) const noexcept;
  TEntry* Entries() noexcept { return more_ ? more_.get() : few_; }
  const TEntry* Entries() const noexcept { return more_ ? more_.get() : few_; }
  std::size_t At(std::size_t index) const noexcept { return (front_ + index) % capacity_; }

  TEntry few_[kFew];
  std::unique_ptr<TEntry[]> more_;
  std::size_t capacity_ = kFew;
  std::size_t front_ = 0;
  std::size_t size_ = 0;
  std::int64_t slots_ = 0;
  Os::TClock::duration period_{};
  Os::TClock::duration step_{};  // time span that one entry may cover
};

}  // namespace Dova
