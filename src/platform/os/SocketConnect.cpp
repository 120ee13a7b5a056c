// Schedules the connection attempts; the attempts themselves are platform code.
#include <algorithm>

#include "platform/os/Clock.h"
#include "platform/os/Socket.h"

namespace Dova::Os {
namespace {

constexpr std::int64_t kStaggerNs = 250'000'000;
constexpr std::size_t kMaxAddresses = 32;

// Keeps the given order, but alternates address families, so that an unreachable family costs one stagger and
// not one per address.
std::vector<TEndpoint> TakeTurns(std::vector<TEndpoint> from) {
  for (std::size_t i = 1; i < from.size(); ++i) {
    const auto at = from.begin() + static_cast<std::ptrdiff_t>(i);
    const auto other =
        std::find_if(at, from.end(), [&](const TEndpoint& each) { return each.family != at[-1].family; });
    if (other != from.end()) std::rotate(at, other, other + 1);
  }
  from.resize(std::min(from.size(), kMaxAddresses));
  return from;
}

}  // namespace

bool TSocket::Connect(const std::vector<TEndpoint>& to, TTime due, TError& error) {
  int failure = 0;
  const EAttempt outcome = Race(TakeTurns(to), due.time_since_epoch().count(), failure);
  DropAttempts();
  if (outcome == EAttempt::Made) return true;
  if (outcome == EAttempt::Failed) error = {nullptr, failure};
  if (outcome == EAttempt::TimedOut) error = {"connecting timed out", failure, ECause::TimedOut};
  if (outcome == EAttempt::Aborted) error = {"given up"};
  return false;
}

TSocket::EAttempt TSocket::Race(const std::vector<TEndpoint>& to, std::int64_t dueNs, int& failure) {
  std::int64_t nextNs = INT64_MIN;  // start of the next attempt
  for (auto next = to.begin();;) {
    const std::int64_t now = MonotonicNs();
    if (now >= dueNs) return EAttempt::TimedOut;
    const bool last = next == to.end();
    if (!last && now >= nextNs) {
      if (Begin(*next++, failure)) nextNs = now + kStaggerNs;
      continue;
    }
    if (last && !IsUnderWay()) return EAttempt::Failed;
    const EAttempt outcome = Await(last ? dueNs : std::min(dueNs, nextNs), failure);
    if (outcome == EAttempt::Made || outcome == EAttempt::Aborted) return outcome;
    if (outcome == EAttempt::Failed) nextNs = now;
  }
}

}  // namespace Dova::Os
