// The part of SimMarket that carries out requests.
#include "sim/SimMarket.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <utility>

namespace VekSim {

namespace {

constexpr int kMostLots = 499;

int ReadCount(std::string_view text) {
  int count = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
  return error == std::errc() && end == text.data() + text.size() ? count : 0;
}

std::string NumberOf(std::size_t order) {
  char text[24];
  std::snprintf(text, sizeof text, "A%05u", static_cast<unsigned>(order));
  return text;
}

/// Market orders cannot rest: without a word they are IOC, others ROD. False for an unknown word.
bool ReadForce(std::string_view word, bool market, TimeInForce& force) {
  force = market ? TimeInForce::ImmediateOrCancel : TimeInForce::RestOfDay;
  if (word.empty()) return true;
  for (const TimeInForce one :
       {TimeInForce::RestOfDay, TimeInForce::ImmediateOrCancel, TimeInForce::FillOrKill}) {
    if (word != ForceText(one)) continue;
    force = one;
    return !market || one != TimeInForce::RestOfDay;
  }
  return false;
}

bool IsPrice(int price, const SimMarket::Product& product) {
  return price > 0 && price % product.tick == 0;
}

SimTrade No(SimRejection why) {
  return {std::move(why), {}, {}};
}

}  // namespace

int ReadPrice(std::string_view text) {
  double points = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), points);
  if (error != std::errc() || end != text.data() + text.size() || !(points >= 0 && points <= 1e6)) return 0;
  return static_cast<int>(std::lround(points * 100));
}

SimTrade SimMarket::Trade(const SimLogin& login, const SimRequest& request, bool hold) {
  if (request.verb == "new") return New(login, request, hold);
  if (request.verb == "amend") return Amend(login, request);
  if (request.verb == "cancel") return Cancel(login, request);
  return No(SimReject::UnknownVerb);
}

SimRejection SimMarket::Fault(const SimLogin& login, const SimOrder& order, const SimRequest& request) {
  const std::string side = ArgumentOf(request, "side"), price = ArgumentOf(request, "price");
  const Product* product = Find(order.product);
  TimeInForce force{};
  if (!login.Sees(order.account)) return SimReject::UnknownAccount;
  if (product == nullptr) return SimReject::UnknownProduct;
  if (side != "B" && side != "S") return SimReject::BadSide;
  if (order.quantity < 1 || order.quantity > kMostLots) return SimReject::BadQuantity;
  if (price != "MKT" && !IsPrice(order.price, *product)) return SimReject::BadPrice;
  if (!ReadForce(ArgumentOf(request, "tif"), price == "MKT", force)) return SimReject::BadTimeInForce;
  return {};
}

SimTrade SimMarket::New(const SimLogin& login, const SimRequest& request, bool hold) {
  const std::string price = ArgumentOf(request, "price");
  SimOrder order;
  order.session = request.session;
  order.workId = request.workId;
  order.account = ArgumentOf(request, "acc");
  if (order.account.empty() && !login.accounts.empty()) order.account = login.accounts.front();
  order.product = ArgumentOf(request, "prod");
  order.quantity = ReadCount(ArgumentOf(request, "qty"));
  order.price = ReadPrice(price);
  if (SimRejection why = Fault(login, order, request)) return No(std::move(why));

  ReadForce(ArgumentOf(request, "tif"), price == "MKT", order.force);
  order.side = ArgumentOf(request, "side")[0];
  order.number = NumberOf(orders_.size() + 1);
  order.held = hold;
  order.at = TimeOfDay();
  Make({SimChange::Kind::New, {}, 0, 0, order});
  SimTrade trade;
  trade.reports.push_back(ReportOf("accepted", orders_.back(),
                                   "\x01Qty=" + std::to_string(order.quantity) +
                                       "\x01Price=" + OrderPriceText(order) +
                                       "\x01Tif=" + std::string(ForceText(order.force))));
  Match(orders_.back(), trade.reports);
  trade.order = orders_.back();
  return trade;
}

SimOrder* SimMarket::Seen(const SimLogin& login, const SimRequest& request) {
  SimOrder* const order = OrderOf(ArgumentOf(request, "ord"));
  return order != nullptr && login.Sees(order->account) ? order : nullptr;
}

SimTrade SimMarket::Amend(const SimLogin& login, const SimRequest& request) {
  SimOrder* const order = Seen(login, request);
  if (order == nullptr) return No(SimReject::UnknownOrder);
  if (LeftOf(*order) == 0) return No(SimReject::NothingLeft);
  const std::string lots = ArgumentOf(request, "qty"), points = ArgumentOf(request, "price");
  const int quantity = lots.empty() ? order->quantity : ReadCount(lots);
  const int price = points.empty() ? order->price : ReadPrice(points);
  // Not below the filled quantity: nothing would be left, and that is a cancel.
  if (quantity <= order->filled) return No(SimReject::BadQuantity);
  if (quantity > order->quantity) return No(SimReject::QuantityNotLess);
  if (!points.empty() && !IsPrice(price, *Find(order->product))) return No(SimReject::BadPrice);
  if (quantity == order->quantity && price == order->price) return No(SimReject::NothingToAmend);
  Make({SimChange::Kind::Amend, order->number, quantity, price, {}});
  SimTrade trade;
  trade.reports.push_back(ReportOf(
      "amended", *order, "\x01Qty=" + std::to_string(quantity) + "\x01Price=" + OrderPriceText(*order)));
  Match(*order, trade.reports);
  trade.order = *order;
  return trade;
}

SimTrade SimMarket::Cancel(const SimLogin& login, const SimRequest& request) {
  SimOrder* const order = Seen(login, request);
  if (order == nullptr) return No(SimReject::UnknownOrder);
  if (LeftOf(*order) == 0) return No(SimReject::NothingLeft);
  SimTrade trade;
  Drop(*order, trade.reports);
  trade.order = *order;
  return trade;
}

}  // namespace VekSim
