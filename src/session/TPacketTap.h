// Looking on at the packets of a client's links.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string_view>
#include <utility>

#include "platform/os/Mutex.h"
#include "platform/runtime/Ref.h"
#include "protocol/Recording.h"
#include "vekapi/VekTypes.h"

namespace VekApi {

// One packet, descrambled, its passwords masked (Masked.h).
struct TTapped {
  std::uint32_t link = 0;  // from 1, counted by the client
  bool fromServer = false;
  ERecordOrder order = ERecordOrder::Unknown;
  std::string_view packet;
};

// Called on the thread on which it happens, and without a lock of the library but a sender's. Anything may be
// called inside, on the client too. Must not throw.
class TPacketTap : public Dstl::ref_counter<unsigned> {
 public:
  // It came, or is about to be handed to the messenger.
  virtual void OnPacket(const TTapped& tapped) = 0;
  // What else is worth knowing, such as that the messenger did not take what was handed to it.
  virtual void OnNote(std::uint32_t link, std::string_view note) = 0;
  // A link has reached a state. `reason` is as long as a connect event's.
  virtual void OnLinkState(std::uint32_t link, EVekClientState state, std::string_view reason) = 0;
};

using TPacketTapRef = Dstl::wise_ref<TPacketTap>;

// Where the tap is kept. Thread-safe; costs one load while there is none.
class TTapSlot {
 public:
  const std::atomic<bool>& On() const { return on_; }
  bool IsOn() const { return on_.load(std::memory_order_relaxed); }

  TPacketTapRef Get() { return IsOn() ? Hold() : TPacketTapRef(); }

  void Set(TPacketTapRef tap) {
    const std::lock_guard lock(mutex_);
    on_.store(static_cast<bool>(tap), std::memory_order_relaxed);
    std::swap(tap_, tap);
  }

 private:
  TPacketTapRef Hold() {
    const std::lock_guard lock(mutex_);
    return tap_;
  }

  std::atomic<bool> on_{false};
  Dova::Os::TMutex mutex_;  // leaf
  TPacketTapRef tap_;
};

}  // namespace VekApi
