#include "flowctrl/TCooling.h"

#include <algorithm>
#include <new>
#include <utility>

namespace Dova {

void TCooling::Reserve(std::int64_t slots, Os::TClock::duration period) noexcept {
  const auto wanted = static_cast<std::size_t>(std::min<std::int64_t>(slots, kMany));
  if (wanted > capacity_) Grow(wanted);
  period_ = period;
  // Entries of this span, plus the two at the ends of the period, at most fill the list.
  const auto steps = static_cast<std::int64_t>(capacity_) - 2;
  step_ = {};
  if (slots > static_cast<std::int64_t>(capacity_)) step_ = period / steps + Os::TClock::duration(1);
}

bool TCooling::Grow(std::size_t capacity) noexcept {
  std::unique_ptr<TEntry[]> grown(new (std::nothrow) TEntry[capacity]);
  if (!grown) return false;
  for (std::size_t i = 0; i < size_; ++i) grown[i] = Entries()[At(i)];
  more_ = std::move(grown);
  capacity_ = capacity;
  front_ = 0;
  return true;
}

void TCooling::Clear() noexcept {
  more_.reset();
  capacity_ = kFew;
  front_ = size_ = 0;
  slots_ = 0;
}

bool TCooling::FitsNewest(Os::TTime now) const noexcept {
  if (size_ == 0) return false;
  const TEntry& newest = Entries()[At(size_ - 1)];
  return newest.last == now || now - newest.first < step_ || size_ == capacity_;
}

void TCooling::Add(Os::TTime now, std::int64_t slots) noexcept {
  if (FitsNewest(now)) {
    TEntry& newest = Entries()[At(size_ - 1)];
    newest.last = now;
    newest.slots += slots;
  } else {
    Entries()[At(size_++)] = {now, now, slots};
  }
  slots_ += slots;
}

void TCooling::FreeUntil(Os::TTime now) noexcept {
  for (; size_ > 0 && now - Entries()[front_].last >= period_; --size_) {
    slots_ -= Entries()[front_].slots;
    front_ = At(1);
  }
}

Os::TTime TCooling::FreeAt(std::int64_t missing) const noexcept {
  for (std::size_t i = 0; i < size_; ++i) {
    const TEntry& entry = Entries()[At(i)];
    missing -= entry.slots;
    if (missing <= 0) return entry.last + period_;
  }
  return Os::kNever;
}

}  // namespace Dova
