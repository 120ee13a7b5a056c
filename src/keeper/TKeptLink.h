#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "keeper/TRequest.h"
#include "platform/runtime/Ref.h"
#include "platform/transport/TMesBase.h"

namespace VekApi {

// Whether a link is silent. After half of the time something is sent that may be answered; the other half
// counts from then, so that a computer that slept asks before it judges.
class TSilence {
 public:
  enum class EDo { Nothing, Ask, GiveUp };

  void Hear(std::int64_t now) {
    heardNs_ = now;
    askedNs_ = -1;
  }
  // Nobody listened for so long.
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

// One link's life as its session sees it. Each attempt to connect makes one and replaces the last one whole,
// so that nothing of one touches another. Guarded by the session's mutex; counted, as that is let go while a
// link is being closed.
class TKeptLink final : public Dstl::ref_counter<unsigned> {
 public:
  static constexpr std::int64_t kNever = TRequest::kNever;

  TKeptLink(std::uint32_t itsNumber, std::uint32_t itsEndpoint) : number(itsNumber), endpoint(itsEndpoint) {}
  // What is there before any link: the next one is that of the number behind.
  static Dstl::wise_ref<TKeptLink> None(std::uint32_t number) {
    const auto none = Dstl::make_ref<TKeptLink>(number, 0U);
    none->life_ = ELife::Finished;
    return none;
  }

  const std::uint32_t number;
  const std::uint32_t endpoint;
  Dstl::wise_ref<Dova::TMesBase> mes;
  std::int64_t stageDue = kNever;
  std::uint32_t resyncLeft = 0;
  bool resyncByHand = false;  // still to be said
  bool refused = false;       // to vss_Refused; the link may live on for a password change
  bool gateWanted[2] = {};    // code 128, code 129
  TSilence silence;
  int cause = 0;       // of its end, as finely as it is known
  std::string detail;  // the system's words on its end

  void SetUp(std::int64_t now) {
    upSinceNs_ = now;
    stageDue = kNever;
  }
  // How long it has been up; negative: it was not. Counts no further.
  std::int64_t TakeUp(std::int64_t now) {
    const std::int64_t since = std::exchange(upSinceNs_, -1);
    return since < 0 ? -1 : now - since;
  }
  std::int64_t UpFor(std::int64_t now) const { return upSinceNs_ < 0 ? 0 : now - upSinceNs_; }

  // ---- its end ----

  // Somebody inside the context is to end it; the first reason counts.
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
  // Over, but what was Going over it is not decided yet.
  bool Ending() const { return life_ == ELife::Ended; }
  int EndReason() const { return endReason_; }

  // True for the first call only.
  bool End(int reason, const std::string& itsDetail) {
    if (Over()) return false;
    life_ = ELife::Ended;
    endReason_ = cause = reason;
    detail = itsDetail;
    wanted_ = {};
    stageDue = kNever;
    return true;
  }
  // True when it was Ending.
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
