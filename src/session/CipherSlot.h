#pragma once

#include <atomic>
#include <mutex>
#include <utility>

#include "platform/os/Mutex.h"
#include "platform/runtime/Ref.h"
#include "protocol/Cipher.h"
#include "session/TWire.h"

namespace VekApi {

// The cipher and the wire used by senders: changed inside the session's context, read by any thread under the
// mutex.
struct TCipherSlot {
  Dova::Os::TMutex mutex;
  TCipher cipher;
  Dstl::wise_ref<const TWire> wire;  // null if no link accepts packets

  TCipher Get() {
    const std::lock_guard lock(mutex);
    return cipher;
  }
  // Throws std::bad_alloc, without a change, if there is a wire.
  void Set(TCipher next);

  // With the mutex held.
  void SwapWire(Dstl::wise_ref<const TWire>& other) {
    std::swap(wire, other);
    current_.store(wire.get(), std::memory_order_release);
  }
  // Whether a wire that the caller holds is the slot's. Takes no lock.
  bool IsCurrent(const Dstl::wise_ref<const TWire>& held) const {
    return held.get() == current_.load(std::memory_order_acquire);
  }

 private:
  std::atomic<const TWire*> current_{nullptr};
};

}  // namespace VekApi
