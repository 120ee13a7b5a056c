// Observes the packets of a client's links.
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

// One packet, descrambled and with its passwords masked (Masked.h).
struct TTapped {
  std::uint32_t link = 0;  // the client's links are numbered from 1
  bool fromServer = false;
  ERecordOrder order = ERecordOrder::Unknown;
  std::string_view packet;
};

// Called on the thread where it happens. Of the library's locks, only a sender's may be held. The calls may
// use the library freely, the client included. Must not throw.
class TPacketTap : public Dstl::ref_counter<unsigned> {
 public:
  // The packet has arrived, or is about to be handed to the messenger.
  virtual void OnPacket(const TTapped& tapped) = 0;
  // Anything else worth knowing, for example that the messenger did not accept a packet.
  virtual void OnNote(std::uint32_t link, std::string_view note) = 0;
  // A link has entered a state. `reason` lives as long as that of a connect event.
  virtual void OnLinkState(std::uint32_t link, EVekClientState state, std::string_view reason) = 0;
};

using TPacketTapRef = Dstl::wise_ref<TPacketTap>;

// Holds the tap. Thread-safe; costs one load while there is no tap.
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
