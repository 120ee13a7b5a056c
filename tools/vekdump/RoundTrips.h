// Matches answers with requests and measures the time between.
#pragma once

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "vekdump/Item.h"

namespace VekDump {

// A request answered by an item, which may answer several.
struct Answered {
  std::string name;  // of the request
  std::int64_t tookNs;
};

// Queries are matched by work id; requests of batches are acknowledged line by line, everything else packet
// by packet, in the order sent.
class RoundTrips {
 public:
  // Calls `found` for each request answered by the item.
  template <class Found>
  void Add(const Item& item, const Found& found) {
    if (item.kind == Kind::LinkEnd || item.kind == Kind::LinkUp) links_.erase(item.link);
    if (item.kind != Kind::Packet || !item.decoded) return;
    const Exchange exchange = ExchangeOf(item);
    if (exchange.name == nullptr) return;
    if (item.from == Side::Client) return Sent(item, exchange);
    for (std::uint64_t left = exchange.count; left != 0; --left) {
      const auto tookNs = Take(item, exchange);
      if (!tookNs) return;
      found(Answered{exchange.name, *tookNs});
    }
  }

 private:
  struct Exchange {
    const char* name = nullptr;  // null: neither request nor answer
    std::string id{};
    std::uint64_t count = 1;
  };
  struct Waiting {
    std::int64_t sentNs;
    std::uint64_t count;
  };
  using Key = std::pair<std::string, std::string>;  // name and id

  static Exchange ExchangeOf(const Item& item);
  void Sent(const Item& item, const Exchange& exchange);
  std::optional<std::int64_t> Take(const Item& item, const Exchange& exchange);

  std::map<std::uint32_t, std::map<Key, std::deque<Waiting>>> links_;
};

}  // namespace VekDump
