// Requests passed as one text: pairs of lines.
#include <cstring>

#include "protocol/RequestPrefix.h"
#include "vekapi/VekFlowCtrlSender.h"

namespace VekApi {
namespace {

// Null if there is none.
const char* FindLineFeed(const char* first, const char* last) {
  return static_cast<const char*>(std::memchr(first, '\n', static_cast<std::size_t>(last - first)));
}

// Iterates over the pairs of a text. A last line without a partner is skipped.
class TPairs {
 public:
  TPairs(const char* first, const char* last) : next_(first), end_(last) {}

  bool Take() {
    if (next_ == nullptr) return false;
    const char* const middle = FindLineFeed(next_, end_);
    if (middle == nullptr) return false;
    first_ = next_;
    const char* const lineFeed = FindLineFeed(middle + 1, end_);
    last_ = lineFeed != nullptr ? lineFeed : end_;
    next_ = lineFeed != nullptr ? lineFeed + 1 : nullptr;
    return true;
  }

  // The current pair, without a trailing line feed.
  const char* First() const { return first_; }
  const char* Last() const { return last_; }

 private:
  const char* next_;  // null after a pair that extends to the end
  const char* end_;
  const char* first_ = nullptr;
  const char* last_ = nullptr;
};

}  // namespace

unsigned VekFlowCtrlSender::SendVekRequests(char* buffer, unsigned length) {
  if (length < kPrefixBytes || IsInherited()) return 0;
  const char* const end = buffer + length;
  const VekFlowCtrlLocker lock(*this);
  if (Holding()) {
    AppendRequests(buffer + kPrefixBytes, end, 0);
    return 0;
  }
  unsigned count = 0;
  std::size_t toSend = 0;
  for (TPairs pairs(buffer + kPrefixBytes, end); pairs.Take(); ++count) {
    if (CheckFlowCtrl() != 0) {
      AppendRequests(pairs.First(), end, count);
      break;
    }
    toSend = static_cast<std::size_t>(pairs.Last() - buffer);
  }
  if (count != 0) Send(buffer, toSend, count);
  CheckWhenHolding();
  return count;
}

// All or none: a call that fails for lack of memory must not send half of its requests later, and the places
// it has `counted` are free again.
void VekFlowCtrlSender::AppendRequests(const char* first, const char* last, unsigned counted) {
  const std::size_t before = pending_.size();
  try {
    for (TPairs pairs(first, last); pairs.Take();) Hold(pairs.First(), pairs.Last());
  } catch (...) {
    TakeBack(before, counted);
    throw;
  }
}

}  // namespace VekApi
