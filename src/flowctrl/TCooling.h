#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace Dova {

// The slots of a limiter that cool, oldest first, with the moment from which each does. Memory is taken by
// Reserve only. Slots for which there is no entry of their own share the newest, and all of them cool from
// the latest one's moment: later than they need, never earlier. So that this costs little, an entry of a long
// list takes what begins within a small part of the period.
class TCooling {
 public:
  TCooling() = default;
  TCooling(const TCooling&) = delete;
  TCooling& operator=(const TCooling&) = delete;

  // For `slots` that cool for `periodNs`. Without memory for more it goes on with the entries that it has.
  void Reserve(std::int64_t slots, std::int64_t periodNs) noexcept;

  // Forgets all, and gives the memory back.
  void Clear() noexcept;

  void Add(std::int64_t now, std::int64_t slots) noexcept;

  // Those that have cooled for the period are free.
  void FreeUntil(std::int64_t now) noexcept;

  std::int64_t Slots() const noexcept { return slots_; }

  // The moment at which `missing` slots more will be free; negative when so many do not cool.
  std::int64_t FreeAt(std::int64_t missing) const noexcept;

 private:
  struct TEntry {
    std::int64_t first;
    std::int64_t last;
    std::int64_t slots;
  };

  static constexpr std::size_t kFew = 8;
  static constexpr std::size_t kMany = 1024;

  bool Grow(std::size_t capacity) noexcept;
  bool FitsNewest(std::int64_t now) const noexcept;
  TEntry* Entries() noexcept { return more_ ? more_.get() : few_; }
  const TEntry* Entries() const noexcept { return more_ ? more_.get() : few_; }
  std::size_t At(std::size_t index) const noexcept { return (front_ + index) % capacity_; }

  TEntry few_[kFew];
  std::unique_ptr<TEntry[]> more_;
  std::size_t capacity_ = kFew;
  std::size_t front_ = 0;
  std::size_t size_ = 0;
  std::int64_t slots_ = 0;
  std::int64_t periodNs_ = 0;
  std::int64_t stepNs_ = 0;  // what one entry may span
};

}  // namespace Dova
