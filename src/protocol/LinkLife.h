#pragma once

#include <atomic>

#include "platform/mbus/Ref.h"

namespace VekApi {

// Whether a link goes on. Everything that may come late holds the life of the link that it was made for, and
// asks once it is inside the session's context.
class TLinkLife : public Dstl::ref_counter<unsigned> {
 public:
  // The link has ended, or the client is about to replace it. The client may then be gone. Any thread.
  bool Over() const noexcept { return over_.load(std::memory_order_acquire); }

  // True for the one call that ends it. Any thread.
  bool SetOver() noexcept { return !over_.exchange(true); }

  // For work that takes long.
  const std::atomic<bool>& OverFlag() const noexcept { return over_; }

 private:
  std::atomic<bool> over_{false};
};

}  // namespace VekApi
