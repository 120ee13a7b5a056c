#include "sim/SimMarket.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <utility>

namespace VekSim {

namespace {

/// Hundredths from a text such as 18250 or 18250.5; 0 if it is not a positive price.
int ReadPrice(std::string_view text) {
  double points = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), points);
  if (error != std::errc() || end != text.data() + text.size() || points < 0 || points > 1e6) return 0;
  return static_cast<int>(std::lround(points * 100));
}

int ReadCount(std::string_view text) {
  int count = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
  return error == std::errc() && end == text.data() + text.size() ? count : 0;
}

std::string Number(char kind, std::size_t number) {
  char text[24];
  std::snprintf(text, sizeof text, "%c%05u", kind, static_cast<unsigned>(number));
  return text;
}

std::string ReportOf(const char* kind, const SimOrder& order, const std::string& more) {
  return std::string(kind) + "\x01OrdNo=" + order.number + "\x01WorkID=" + order.workId + "\x01" +
         "Acc=" + order.account + "\x01Prod=" + order.product + "\x01Side=" + order.side + more +
         "\x01Left=" + std::to_string(LeftOf(order)) + "\x01Status=" + OrderStateText(order);
}

SimTrade No(std::string reason) {
  return {false, std::move(reason), {}, {}};
}

}  // namespace

SimTrade SimMarket::Trade(const SimLogin& login, const SimRequest& request) {
  if (request.verb == "new") return New(login, request);
  if (request.verb == "cancel") return Cancel(login, request);
  return No("不支援的指令");
}

std::string SimMarket::Fault(const SimLogin& login, const SimOrder& order, std::string_view side,
                             std::string_view price) {
  const Product* product = Find(order.product);
  if (!login.Sees(order.account)) return "無此帳號";
  if (product == nullptr) return "無此商品";
  if (side != "B" && side != "S") return "買賣別錯誤";
  if (order.quantity < 1 || order.quantity > 499) return "委託口數錯誤";
  if (price != "MKT" && (order.price < 1 || order.price % product->tick != 0)) return "委託價格錯誤";
  return {};
}

SimTrade SimMarket::New(const SimLogin& login, const SimRequest& request) {
  const std::string side = ArgumentOf(request, "side"), price = ArgumentOf(request, "price");
  SimOrder order;
  order.session = request.session;
  order.workId = request.workId;
  order.account = ArgumentOf(request, "acc");
  if (order.account.empty() && !login.accounts.empty()) order.account = login.accounts.front();
  order.product = ArgumentOf(request, "prod");
  order.quantity = ReadCount(ArgumentOf(request, "qty"));
  order.price = ReadPrice(price);
  if (std::string fault = Fault(login, order, side, price); !fault.empty()) return No(std::move(fault));

  order.side = side[0];
  order.number = Number('A', orders_.size() + 1);
  orders_.push_back(order);
  SimTrade trade{true, {}, order, {}};
  trade.reports.push_back(ReportOf(
      "accepted", order, "\x01Qty=" + std::to_string(order.quantity) + "\x01Price=" + OrderPriceText(order)));
  Match(orders_.back(), trade.reports);
  trade.order = orders_.back();
  return trade;
}

void SimMarket::Match(SimOrder& order, std::vector<std::string>& reports) {
  const int last = Find(order.product)->last;
  const bool crosses = order.side == 'B' ? order.price >= last : order.price <= last;
  if (order.price != 0 && !crosses) return;
  // In two parts if there are two lots, so that clients see partial fills.
  if (order.quantity > 1) Fill(order, last, order.quantity / 2, reports);
  Fill(order, last, LeftOf(order), reports);
}

void SimMarket::Fill(SimOrder& order, int price, int quantity, std::vector<std::string>& reports) {
  order.filled += quantity;
  const std::string number = Number('D', deals_.size() + 1);
  deals_.push_back({number, order, quantity, price});
  reports.push_back(ReportOf("fill", order,
                             "\x01" + ("DealNo=" + number) + "\x01Qty=" + std::to_string(quantity) +
                                 "\x01Price=" + PriceText(price)));
}

SimTrade SimMarket::Cancel(const SimLogin& login, const SimRequest& request) {
  const std::string number = ArgumentOf(request, "ord");
  const auto found = std::find_if(orders_.begin(), orders_.end(),
                                  [&](const SimOrder& order) { return order.number == number; });
  if (found == orders_.end() || !login.Sees(found->account)) return No("無此委託書號");
  if (LeftOf(*found) == 0) return No("無剩餘口數可取消");
  const int gone = LeftOf(*found);
  found->cancelled += gone;
  return {true, {}, *found, {ReportOf("cancelled", *found, "\x01Qty=" + std::to_string(gone))}};
}

}  // namespace VekSim
