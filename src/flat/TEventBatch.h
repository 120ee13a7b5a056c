#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "vekapi/VekTaskResult.h"
#include "vekapi/VekTypes.h"

// What a session knows about its server at a certain time.
struct TSessionView {
  TSessionView(std::shared_ptr<const VekApi::VekTaskResult> result, std::string server)
      : sgnResult(std::move(result)), serverName(std::move(server)) {}

  std::shared_ptr<const VekApi::VekTaskResult> sgnResult;
  std::string serverName;
};
using TSessionViewRef = std::shared_ptr<const TSessionView>;

// An event for a message loop's thread.
struct TPendingEv {
  std::int32_t kind = 0;
  std::int32_t num = -1;
  std::string_view text{};  // any bytes; of a queued event, a NUL follows
  VekApi::EVekClientState state = VekApi::vcs_None;
  TSessionViewRef view{};  // null: same as the previous event's
};

// Some queued events, in arrival order, in memory allocated at once. First filled, then read; texts stay
// where they are until it is cleared.
class TEventBatch {
 public:
  // With room for one event with such a text, and usually for many.
  explicit TEventBatch(std::size_t textBytes) {
    events_.reserve(kEvents);
    texts_.reserve(std::max(kTextBytes, textBytes + 1));
  }

  bool HasRoom(std::size_t textBytes) const {
    return events_.size() < kEvents && texts_.capacity() - texts_.size() > textBytes;
  }
  // Copies the text. Only if there is room.
  void Add(TPendingEv event) noexcept {
    const std::size_t at = texts_.size();
    texts_.append(event.text).push_back('\0');
    event.text = {texts_.data() + at, event.text.size()};
    events_.push_back(std::move(event));
  }

  bool IsRead() const { return read_ == events_.size(); }
  TPendingEv Read() { return std::move(events_[read_++]); }

  // True if its memory is worth keeping.
  bool IsUsual() const { return texts_.capacity() < 2 * kTextBytes; }
  void Clear() {
    events_.clear();
    texts_.clear();
    read_ = 0;
  }

 private:
  static constexpr std::size_t kEvents = 64;
  static constexpr std::size_t kTextBytes = 4095;

  std::vector<TPendingEv> events_;
  std::string texts_;
  std::size_t read_ = 0;
};
using TEventBatchRef = std::shared_ptr<TEventBatch>;
