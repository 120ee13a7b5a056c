#include "vekdump/RoundTrips.h"

#include "protocol/Packet.h"
#include "vekdump/Text.h"

namespace VekDump {
namespace {

using namespace VekApi;

constexpr std::size_t kMostWaiting = 100'000;  // unanswered queries per link

const char* SessionExchange(const Item& item) {
  if (item.name == "sign-on request") return "sign-on";
  if (item.name == "sign-on reply") return item.state ? "sign-on" : nullptr;  // otherwise the result follows
  return item.name.starts_with("password") ? "password change" : nullptr;
}

}  // namespace

RoundTrips::Exchange RoundTrips::ExchangeOf(const Item& item) {
  switch (item.code) {
    case PkConnect:
      return {"connect"};
    case PkHeartbeat:
      return {"heartbeat"};
    case PkSession:
      return {SessionExchange(item)};
    case PkTaskResult: {
      if (item.name == "sign-on result") return {"sign-on"};
      const std::string* const id = FieldOf(item, "work id");
      return {"query", id == nullptr ? std::string() : *id};
    }
    case PkRequestAck: {
      const std::string* const count = FieldOf(item, "requests");
      return {"request", {}, count == nullptr ? 0 : std::stoull(*count)};
    }
    default:
      return {};
  }
}

void RoundTrips::Sent(const Item& item, const Exchange& exchange) {
  auto& waiting = links_[item.link];
  if (waiting.size() < kMostWaiting && exchange.count != 0)
    waiting[{exchange.name, exchange.id}].push_back({item.at.ns, exchange.count});
}

std::optional<std::int64_t> RoundTrips::Take(const Item& item, const Exchange& exchange) {
  auto& waiting = links_[item.link];
  const auto found = waiting.find({exchange.name, exchange.id});
  if (found == waiting.end()) return {};
  Waiting& first = found->second.front();
  const std::int64_t tookNs = Between(first.sentNs, item.at.ns);
  if (--first.count == 0) found->second.pop_front();
  if (found->second.empty()) waiting.erase(found);
  return tookNs;
}

}  // namespace VekDump
