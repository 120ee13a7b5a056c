// The lists of messages that wait in a queue.
#include <algorithm>
#include <utility>

#include "platform/os/posix/ThreadQueue.h"

namespace Dova::Os {

bool TThreadQueue::TPostedMessages::Has(const TPosted& message) const noexcept {
  const auto first = messages_.begin() + static_cast<std::ptrdiff_t>(first_);
  return std::find(first, messages_.end(), message) != messages_.end();
}

bool TThreadQueue::TPostedMessages::Push(const TPosted& message) noexcept try {
  messages_.push_back(message);
  return true;
} catch (...) {
  return false;
}

// Each message is moved at most once on average.
TThreadQueue::TPosted TThreadQueue::TPostedMessages::Pop() noexcept {
  const TPosted message = messages_[first_++];
  if (first_ >= Size()) Shift();
  return message;
}

void TThreadQueue::TPostedMessages::Shift() noexcept {
  constexpr std::size_t kKept = 64;
  messages_.erase(messages_.begin(), messages_.begin() + static_cast<std::ptrdiff_t>(first_));
  first_ = 0;
  if (messages_.empty() && messages_.capacity() > kKept) std::vector<TPosted>().swap(messages_);
}

void TThreadQueue::TPostedMessages::Drop(const TMessageWindow::TNative* window) noexcept {
  Shift();
  std::erase_if(messages_, [&](const TPosted& message) { return message.IsOf(window); });
}

void TThreadQueue::TSentMessages::Push(TSent& sent) noexcept {
  sent.next = nullptr;
  (first_ ? last_->next : first_) = &sent;
  last_ = &sent;
  ++size_;
}

TThreadQueue::TSent& TThreadQueue::TSentMessages::Pop() noexcept {
  --size_;
  return *std::exchange(first_, first_->next);
}

}  // namespace Dova::Os
