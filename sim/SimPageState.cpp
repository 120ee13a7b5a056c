#include <initializer_list>
#include <utility>

#include "sim/SimCore.h"
#include "sim/SimJson.h"
#include "sim/SimPage.h"
#include "sim/SimSession.h"

namespace VekSim {

namespace {

constexpr std::size_t kMostOrders = 200;

using Members = std::initializer_list<std::pair<const char*, std::string>>;

std::string Object(Members members) {
  std::string json;
  for (const auto& [name, value] : members) {
    json.append(json.empty() ? "{\"" : ",\"").append(name).append("\":").append(value);
  }
  return json + "}";
}

/// Values as JSON, joined into a list.
class List {
 public:
  void Add(const std::string& value) { json_.append(json_.empty() ? "" : ",").append(value); }
  std::string Text() const { return "[" + json_ + "]"; }

 private:
  std::string json_;
};

std::string SessionJson(int id, SimSession& session) {
  const LinkFaults& faults = session.Link().Faults();
  const auto& login = session.Login();
  List accounts;
  if (login) {
    for (const std::string& account : login->accounts) accounts.Add(Quoted(account));
  }
  return Object({{"id", std::to_string(id)},
                 {"user", Quoted(login ? login->user : "")},
                 {"accounts", accounts.Text()},
                 {"delay", std::to_string(faults.delayMs)},
                 {"silent", faults.silent ? "true" : "false"},
                 {"stalled", faults.stall ? "true" : "false"}});
}

std::string OrderJson(const SimOrder& order) {
  return Object({{"number", Quoted(order.number)},
                 {"workId", Quoted(order.workId)},
                 {"account", Quoted(order.account)},
                 {"product", Quoted(order.product)},
                 {"side", Quoted(std::string(1, order.side))},
                 {"quantity", std::to_string(order.quantity)},
                 {"filled", std::to_string(order.filled)},
                 {"left", std::to_string(LeftOf(order))},
                 {"price", Quoted(OrderPriceText(order))},
                 {"force", Quoted(ForceText(order.force))},
                 {"held", order.held ? "true" : "false"},
                 {"state", Quoted(OrderStateText(order))},
                 {"time", Quoted(TimeText(order.at))}});
}

std::string ProductJson(const SimMarket& market, const SimMarket::Product& product) {
  List book;
  for (const auto& level : market.Book(product.id)) {
    book.Add(Object({{"side", Quoted(std::string(1, level.side))},
                     {"price", Quoted(level.price == 0 ? "MKT" : PriceText(level.price))},
                     {"lots", std::to_string(level.lots)},
                     {"orders", std::to_string(level.orders)}}));
  }
  const auto& quote = market.QuoteOf(product.id);
  return Object({{"id", Quoted(product.id)},
                 {"name", Quoted(product.name)},
                 {"last", PriceText(quote.last)},
                 {"tick", PriceText(product.tick)},
                 {"lots", std::to_string(quote.lots)},
                 {"book", book.Text()}});
}

}  // namespace

std::string PageState(SimCore& core, const std::deque<std::string>& notes) {
  List sessions, orders, products, events;
  for (const auto& [id, session] : core.sessions) sessions.Add(SessionJson(id, *session));
  const auto& all = core.market.Orders();
  for (std::size_t i = 0; i < all.size() && i < kMostOrders; ++i)
    orders.Add(OrderJson(all[all.size() - 1 - i]));
  for (const auto& product : SimMarket::Products()) products.Add(ProductJson(core.market, product));
  for (const std::string& note : notes) events.Add(note);
  return Object({{"server", Quoted(core.config.serverName)},
                 {"time", Quoted(TimeText(core.TimeOfDay()))},
                 {"sessions", sessions.Text()},
                 {"orders", orders.Text()},
                 {"orderCount", std::to_string(all.size())},
                 {"products", products.Text()},
                 {"notes", events.Text()}});
}

}  // namespace VekSim
