// What the application sets before it opens the session, and asks at any time.
#include <algorithm>

#include "keeper/TSession.h"
#include "platform/runtime/Wipe.h"

namespace VekApi {
namespace {

constexpr std::size_t kMost = 64;  // endpoints; also resync queries

}  // namespace

int TSession::AddEndpoint(const char* setting) {
  const TLock lock(mutex_);
  if (*setting == '\0' || endpoints_.size() >= kMost) return vsr_BadArgument;
  endpoints_.emplace_back(setting);
  policy_.AddEndpoint();
  return 0;
}

int TSession::AddResync(const char* query) {
  const TLock lock(mutex_);
  if (*query == '\0' || resync_.size() >= kMost) return vsr_BadArgument;
  resync_.emplace_back(query);
  return 0;
}

int TSession::SetPassword(const char* password) {
  const std::string_view text = password;
  if (text.size() > kMostPassword) return vsr_BadArgument;
  const TLock lock(mutex_);
  Dova::WipeText(password_);
  password_.reserve(kMostPassword + 1);
  password_ = text;
  return 0;
}

void TSession::NewWorkId(char* id) {
  const TLock lock(mutex_);
  const std::string_view next = ids_.Next();
  id[next.copy(id, kIdRoom - 1)] = 0;
  ids_.GoOn();
}

void TSession::Stats(CVekSessionStats& stats) {
  const TLock lock(mutex_);
  stats.held = ledger_.Held();
  stats.heldMost = ledger_.HeldMost();
  stats.out = ledger_.Out();
  stats.events = told_.Size();
  stats.links = link_->number;
  stats.shortLinks = policy_.ShortLinks();
  for (int fate = 0; fate < 8; ++fate) stats.fates[fate] = ledger_.Fates(fate);
  stats.late = ledger_.Late();
  stats.stray = ledger_.Stray();
  stats.gateWaits = ledger_.GateWaits();
  stats.bytesIn = bytesIn_;
  stats.bytesOut = bytesOut_;
  stats.messagesIn = messagesIn_;
  stats.messagesOut = messagesOut_;
  stats.upNs = upNs_ + link_->UpFor(NowNs());
}

unsigned TSession::RoundTrips(int code, std::uint64_t* counts, unsigned room) {
  if (code != 128 && code != 129) return 0;
  const TLock lock(mutex_);
  for (unsigned i = 0; i < std::min(room, TRoundTrips::kCounts); ++i)
    counts[i] = ledger_.RoundTrips(code).At(i);
  return TRoundTrips::kCounts;
}

}  // namespace VekApi
