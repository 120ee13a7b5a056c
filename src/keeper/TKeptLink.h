#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "keeper/TRequest.h"
#include "platform/runtime/Ref.h"
#include "platform/runtime/TextCopy.h"
#include "platform/transport/TMesBase.h"
#include "session/TWire.h"

namespace VekApi {

// Detects a silent link. After half of the allowed time the peer is probed, and the other half counts from
// the probe. So a computer that wakes from sleep probes before it gives up.
class TSilence {
 public:
  enum class EDo { Nothing, Ask, GiveUp };

  void Hear(std::int64_t now) {
    heardNs_ = now;
    askedNs_ = -1;
  }
  // Nobody read the link for that long, so the time does not count as silence.
  void Postpone(std::int64_t ns) {
    heardNs_ += ns;
    if (askedNs_ >= 0) askedNs_ += ns;
  }
  bool HeardSince(std::int64_t ns) const { return heardNs_ >= ns; }

  std::int64_t Due(std::int64_t halfNs) const { return (askedNs_ >= 0 ? askedNs_ : heardNs_) + halfNs; }
  EDo Look(std::int64_t now, std::int64_t halfNs) {
    if (now < Due(halfNs)) return EDo::Nothing;
    return std::exchange(askedNs_, now) < 0 ? EDo::Ask : EDo::GiveUp;
  }

 private:
  std::int64_t heardNs_ = 0;
  std::int64_t askedNs_ = -1;
};

// The life of one link, as its session sees it. Each attempt to connect creates a new object that replaces
// the previous one, so no state leaks from one link to the next. Guarded by the session's mutex.
// Reference-counted, because the mutex is released while a link is being closed.
class TKeptLink final : public Dstl::ref_counter<unsigned> {
 public:
  static constexpr std::int64_t kNever = TRequest::kNever;

  TKeptLink(std::uint32_t itsNumber, std::uint32_t itsEndpoint) : number(itsNumber), endpoint(itsEndpoint) {}
  // Stands in while there is no link; the next link gets `number` + 1.
  static Dstl::wise_ref<TKeptLink> None(std::uint32_t number) {
    const auto none = Dstl::make_ref<TKeptLink>(number, 0U);
    none->life_ = ELife::Finished;
    return none;
  }

  const std::uint32_t number;
  const std::uint32_t endpoint;
  Dstl::wise_ref<Dova::TMesBase> mes;
  // Used by the thread that is inside Send. Until it returns, no next link replaces this object.
  Dstl::wise_ref<const TWire> wire;
  std::int64_t stageDue = kNever;
  std::uint32_t resyncLeft = 0;
  bool resyncByHand = false;  // the application has yet to call ResyncDone
  bool refused = false;       // leads to vss_Refused; the link may stay open for a password change
  bool gateWanted[2] = {};    // code 128, code 129
  TSilence silence;
  int cause = 0;       // the most specific known reason for the end
  std::string detail;  // the system's error text for the end

  void SetUp(std::int64_t now) {
    upSinceNs_ = now;
    stageDue = kNever;
  }
  // Time since SetUp, negative if it was not up. Stops counting.
  std::int64_t TakeUp(std::int64_t now) {
    const std::int64_t since = std::exchange(upSinceNs_, -1);
    return since < 0 ? -1 : now - since;
  }
  std::int64_t UpFor(std::int64_t now) const { return upSinceNs_ < 0 ? 0 : now - upSinceNs_; }

  // ---- its end ----

  // Asks whoever is inside the context to end the link. Only the first reason counts.
  void Want(int reason, bool abrupt) {
    if (wanted_.reason == 0 && !Over()) wanted_ = {reason, abrupt};
  }
  struct TWanted {
    int reason = 0;
    bool abrupt = false;
  };
  bool IsWanted() const { return wanted_.reason != 0; }
  TWanted TakeWanted() { return std::exchange(wanted_, {}); }

  bool Over() const { return life_ != ELife::Open; }
  // Over, but requests still Going have no fate yet.
  bool Ending() const { return life_ == ELife::Ended; }
  int EndReason() const { return endReason_; }

  // Returns true for the first call only.
  bool End(int reason, std::string_view itsDetail) {
    if (Over()) return false;
    life_ = ELife::Ended;
    endReason_ = cause = reason;
    detail = Dova::CopyIfMemory(itsDetail);
    wanted_ = {};
    stageDue = kNever;
    return true;
  }
  // Returns true if the link was Ending.
  bool Finish() { return Ending() && std::exchange(life_, ELife::Finished) == ELife::Ended; }

 private:
  enum class ELife { Open, Ended, Finished };

  ~TKeptLink() override = default;

  ELife life_ = ELife::Open;
  TWanted wanted_;
  int endReason_ = 0;
  std::int64_t upSinceNs_ = -1;
};

}  // namespace VekApi
