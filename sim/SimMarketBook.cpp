// The part of SimMarket that trades: the market's price, resting orders, and every change made to either.
#include <algorithm>
#include <cstdio>
#include <iterator>

#include "sim/SimMarket.h"

namespace VekSim {

namespace {

using Kind = SimChange::Kind;

/// Whether `order` trades before `other`: the better price, then the earlier one.
bool Before(const SimOrder& order, const SimOrder& other) {
  if (order.side != other.side) return order.side == 'S';
  if (order.price != other.price) {
    return order.side == 'B' ? order.price > other.price : order.price < other.price;
  }
  return order.rank < other.rank;
}

}  // namespace

SimMarket::SimMarket() {
  Forget();
}

SimOrder* SimMarket::OrderOf(const std::string& number) {
  const auto found = std::find_if(orders_.begin(), orders_.end(),
                                  [&](const SimOrder& order) { return order.number == number; });
  return found == orders_.end() ? nullptr : &*found;
}

SimOrder* SimMarket::Open(const std::string& number, SimRejection& why) {
  SimOrder* const order = OrderOf(number);
  if (order == nullptr) why = SimReject::UnknownOrder;
  if (order != nullptr && LeftOf(*order) == 0) why = SimReject::NothingLeft;
  return why ? nullptr : order;
}

std::string SimMarket::ReportOf(const char* kind, const SimOrder& order, const std::string& more) const {
  return std::string(kind) + "\x01OrdNo=" + order.number + "\x01WorkID=" + order.workId + "\x01" +
         "Acc=" + order.account + "\x01Prod=" + order.product + "\x01Side=" + order.side + more +
         "\x01Left=" + std::to_string(LeftOf(order)) + "\x01Status=" + OrderStateText(order) +
         "\x01Time=" + TimeText(TimeOfDay());
}

bool SimMarket::Reaches(const SimOrder& order) const {
  const int last = QuoteOf(order.product).last;
  return order.price == 0 || (order.side == 'B' ? order.price >= last : order.price <= last);
}

// An order that meets the price fills at the last price, in two parts if possible, so that clients see
// partial fills.
void SimMarket::Match(SimOrder& order, std::vector<std::string>& reports) {
  if (order.held) return;
  const Quote quote = QuoteOf(order.product);
  const int left = LeftOf(order), lots = quote.lots == kUnlimited ? left : std::min(left, quote.lots);
  const bool kills = order.force == TimeInForce::FillOrKill && lots < left;
  if (Reaches(order) && !kills) {
    if (lots > 1) Trade(order, quote.last, lots / 2, reports);
    if (lots > 0) Trade(order, quote.last, lots - (lots > 1 ? lots / 2 : 0), reports);
  }
  if (order.force != TimeInForce::RestOfDay && LeftOf(order) > 0) Drop(order, reports);
}

void SimMarket::Trade(SimOrder& order, int price, int quantity, std::vector<std::string>& reports) {
  Make({Kind::Fill, order.number, quantity, price, {}});
  reports.push_back(ReportOf("fill", order,
                             "\x01" + ("DealNo=" + deals_.back().number) +
                                 "\x01Qty=" + std::to_string(quantity) + "\x01Price=" + PriceText(price)));
}

void SimMarket::Drop(SimOrder& order, std::vector<std::string>& reports) {
  const int gone = LeftOf(order);
  Make({Kind::Cancel, order.number, gone, 0, {}});
  reports.push_back(ReportOf("cancelled", order, "\x01Qty=" + std::to_string(gone)));
}

SimTrade SimMarket::Fill(const std::string& number, int quantity, int price) {
  SimTrade trade;
  SimOrder* const order = Open(number, trade.rejection);
  if (order == nullptr) return trade;
  const int left = LeftOf(*order);
  if (price == 0) price = order->price != 0 ? order->price : QuoteOf(order->product).last;
  Trade(*order, price, quantity < 1 ? left : std::min(quantity, left), trade.reports);
  trade.order = *order;
  return trade;
}

SimTrade SimMarket::Reject(const std::string& number, const SimRejection& why) {
  SimTrade trade;
  SimOrder* const order = Open(number, trade.rejection);
  if (order == nullptr) return trade;
  const int gone = LeftOf(*order);
  Make({Kind::Reject, number, why.code, 0, {}});
  trade.reports.push_back(ReportOf("rejected", *order,
                                   "\x01Qty=" + std::to_string(gone) + "\x01" +
                                       "Code=" + std::to_string(why.code) + "\x01Reason=" + why.text));
  trade.order = *order;
  return trade;
}

std::vector<std::string> SimMarket::Reached(std::string_view product) {
  std::vector<const SimOrder*> reached;
  for (const SimOrder& order : orders_) {
    if (order.product == product && LeftOf(order) > 0 && !order.held && Reaches(order))
      reached.push_back(&order);
  }
  std::sort(reached.begin(), reached.end(),
            [](const SimOrder* a, const SimOrder* b) { return Before(*a, *b); });
  std::vector<std::string> numbers;
  for (const SimOrder* order : reached) numbers.push_back(order->number);
  return numbers;
}

std::vector<SimTrade> SimMarket::Move(std::string_view product, int price, int lots) {
  const Product* const known = Find(product);
  if (known == nullptr) return {};
  const int whole = std::max(price - price % known->tick, known->tick);
  Make({Kind::Price, std::string(product), lots, whole, {}});
  std::vector<SimTrade> trades;
  for (const std::string& number : Reached(product)) {
    const int left = QuoteOf(product).lots;
    if (left == 0) break;
    trades.push_back(Fill(number, left == kUnlimited ? 0 : left, 0));
  }
  return trades;
}

std::vector<SimMarket::Level> SimMarket::Book(std::string_view product) const {
  std::vector<const SimOrder*> open;
  for (const SimOrder& order : orders_) {
    if (order.product == product && LeftOf(order) > 0) open.push_back(&order);
  }
  std::sort(open.begin(), open.end(), [](const SimOrder* a, const SimOrder* b) { return Before(*a, *b); });
  std::vector<Level> levels;
  for (const SimOrder* order : open) {
    if (levels.empty() || levels.back().side != order->side || levels.back().price != order->price) {
      levels.push_back({order->side, order->price, 0, 0});
    }
    levels.back().lots += LeftOf(*order);
    ++levels.back().orders;
  }
  return levels;
}

void SimMarket::Forget() {
  Make({Kind::Forget, {}, 0, 0, {}});
}

void SimMarket::Make(const SimChange& change) {
  Apply(change);
  if (changed) changed(change);
}

void SimMarket::Apply(const SimChange& change) {
  if (change.kind == Kind::Forget) {
    orders_.clear();
    deals_.clear();
    for (const Product& product : Products()) quotes_[std::string(product.id)] = {product.first, kUnlimited};
  } else if (change.kind == Kind::Price) {
    quotes_[change.id] = {change.price, change.quantity};
  } else if (change.kind == Kind::New) {
    orders_.push_back(change.order);
    orders_.back().rank = ++ranks_;
  } else {
    SimOrder& order = *OrderOf(change.id);
    if (change.kind == Kind::Cancel) order.cancelled += change.quantity;
    if (change.kind == Kind::Reject) {
      order.rejectCode = change.quantity;
      order.cancelled += LeftOf(order);
    }
    if (change.kind == Kind::Amend) {
      if (order.price != change.price) order.rank = ++ranks_;  // a smaller quantity keeps its place
      order.quantity = change.quantity;
      order.price = change.price;
    }
    if (change.kind != Kind::Fill) return;
    order.filled += change.quantity;
    int& lots = quotes_[order.product].lots;
    if (lots != kUnlimited) lots -= std::min(lots, change.quantity);
    char number[24];
    std::snprintf(number, sizeof number, "D%05u", static_cast<unsigned>(deals_.size() + 1));
    deals_.push_back({number, order, change.quantity, change.price});
  }
}

bool SimMarket::Fits(const SimChange& change) {
  if (change.kind == Kind::Forget) return true;
  if (change.kind == Kind::Price) {
    return Find(change.id) != nullptr && change.price > 0 && change.quantity >= kUnlimited;
  }
  if (change.kind == Kind::New) {
    const SimOrder& order = change.order;
    return Find(order.product) != nullptr && OrderOf(order.number) == nullptr && order.quantity > 0 &&
           order.price >= 0;
  }
  const SimOrder* const order = OrderOf(change.id);
  if (order == nullptr || change.price < 0) return false;
  const int most = change.kind == Kind::Amend ? order->quantity : LeftOf(*order);
  const int least = change.kind == Kind::Amend ? order->filled + 1 : 1;
  return LeftOf(*order) > 0 &&
         (change.kind == Kind::Reject || (change.quantity >= least && change.quantity <= most));
}

bool SimMarket::Restore(const SimChange& change) {
  if (!Fits(change)) return false;
  Apply(change);
  return true;
}

}  // namespace VekSim
