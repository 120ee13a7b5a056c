// The part of SimMarket that writes its books as tables.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>

#include "sim/SimMarket.h"

namespace VekSim {

namespace {

void OrderColumns(ResultText& text) {
  text.Fields({{"OrdNo", "委託書號"},
               {"WorkID", "工作代號"},
               {"Acc", "帳號"},
               {"Prod", "商品"},
               {"Side", "買賣別"},
               {"Qty", "委託口數"},
               {"Filled", "成交口數"},
               {"Left", "剩餘口數"},
               {"Price", "委託價"},
               {"Tif", "委託條件"},
               {"Status", "狀態"},
               {"Time", "委託時間"}});
}

void OrderRow(ResultText& text, const SimOrder& order) {
  text.Row({order.number, order.workId, order.account, order.product, std::string(1, order.side),
            std::to_string(order.quantity), std::to_string(order.filled), std::to_string(LeftOf(order)),
            OrderPriceText(order), std::string(ForceText(order.force)), OrderStateText(order),
            TimeText(order.at)});
}

}  // namespace

// Hundredths: 1825000 is 18250 points.
const std::vector<SimMarket::Product>& SimMarket::Products() {
  static const std::vector<Product> products{
      {"TXF", "臺股期貨", "臺灣證券交易所發行量加權股價指數期貨", "F", "TWD", 1825000, 100, 200, 184000},
      {"MXF", "小型臺指", "小型臺指期貨", "F", "TWD", 1825000, 100, 50, 46000},
      {"EXF", "電子期貨", "電子類股價指數期貨", "F", "TWD", 88535, 5, 4000, 152000},
      {"FXF", "金融期貨", "金融保險類股價指數期貨", "F", "TWD", 168240, 20, 1000, 71000},
      {"TXO", "臺指選擇權", "臺灣證券交易所發行量加權股價指數選擇權", "O", "TWD", 14200, 100, 50, 43000},
      {"GDF", "黃金期貨", "美元計價黃金期貨", "F", "USD", 203480, 10, 10, 1150},
  };
  return products;
}

ResultText OrderTable(const SimOrder& order) {
  ResultText text;
  text.Table("order", {{"DisplayText", "委託"}});
  OrderColumns(text);
  OrderRow(text, order);
  return text;
}

ResultText ErrorTable(const SimRejection& rejection) {
  ResultText text;
  text.Table("error", {{"DisplayText", "錯誤"}})
      .Fields({{"Code", "錯誤代碼"}, {"Message", "錯誤訊息"}})
      .Row({std::to_string(rejection.code), rejection.text});
  return text;
}

std::string PriceText(int hundredths) {
  char text[24];
  const int cents = hundredths % 100;
  std::snprintf(text, sizeof text, cents != 0 ? "%d.%02d" : "%d", hundredths / 100, cents);
  return text;
}

std::string OrderPriceText(const SimOrder& order) {
  return order.price == 0 ? "MKT" : PriceText(order.price);
}

int LeftOf(const SimOrder& order) {
  return order.quantity - order.filled - order.cancelled;
}

std::string_view ForceText(TimeInForce force) {
  if (force == TimeInForce::RestOfDay) return "ROD";
  return force == TimeInForce::ImmediateOrCancel ? "IOC" : "FOK";
}

std::string TimeText(std::chrono::microseconds timeOfDay) {
  const auto ms = static_cast<long>(timeOfDay.count() / 1000 % (24 * 3600 * 1000L));
  char text[40];
  std::snprintf(text, sizeof text, "%02ld:%02ld:%02ld.%03ld", ms / 3600000, ms / 60000 % 60, ms / 1000 % 60,
                ms % 1000);
  return text;
}

std::string OrderStateText(const SimOrder& order) {
  if (order.rejectCode != 0) return "委託失敗";
  if (order.cancelled > 0) return "已取消";
  if (LeftOf(order) == 0) return "全部成交";
  return order.filled > 0 ? "部分成交" : "委託成功";
}

ResultText SimMarket::Query(const SimLogin& login, const SimRequest& request) const {
  ResultText text;
  if (request.verb == "products") {
    AddProducts(text, request);
  } else if (request.verb == "accounts") {
    AddAccounts(text, login);
  } else if (request.verb == "orders") {
    AddOrders(text, login);
  } else if (request.verb == "deals") {
    AddDeals(text, login);
  } else if (request.verb == "positions") {
    AddPositions(text, login);
  } else if (request.verb == "book") {
    AddBook(text, request);
  } else if (request.verb == "ticks") {
    AddTicks(text, request);
  } else {
    return ErrorTable(SimReject::UnknownQuery);
  }
  return text;
}

const SimMarket::Product* SimMarket::Find(std::string_view id) {
  const auto& products = Products();
  const auto found =
      std::find_if(products.begin(), products.end(), [&](const Product& p) { return p.id == id; });
  return found == products.end() ? nullptr : &*found;
}

std::string ArgumentOf(const SimRequest& request, const std::string& key) {
  const auto found = request.args.find(key);
  return found == request.args.end() ? std::string() : found->second;
}

void SimMarket::AddProducts(ResultText& text, const SimRequest& request) const {
  const std::string group = ArgumentOf(request, "group"), id = ArgumentOf(request, "prod");
  text.Table("products", {{"DisplayText", "商品"}, {"Description", "期貨與選擇權商品基本資料"}, {"mkt", "2"}})
      .Fields({{"Prod", "商品代號"},
               {"Name", "商品名稱"},
               {"Desc", "說明"},
               {"Group", "類別"},
               {"Currency", "幣別"},
               {"Last", "成交價"},
               {"Tick", "升降單位"},
               {"Multiplier", "契約乘數"},
               {"Margin", "原始保證金"}});
  for (const Product& p : Products()) {
    if ((!group.empty() && group != p.group) || (!id.empty() && id != p.id)) continue;
    text.Row({std::string(p.id), std::string(p.name), std::string(p.description), std::string(p.group),
              std::string(p.currency), PriceText(QuoteOf(p.id).last), PriceText(p.tick),
              std::to_string(p.multiplier), std::to_string(p.margin)});
  }
}

void SimMarket::AddAccounts(ResultText& text, const SimLogin& login) const {
  text.Table("acc", {{"DisplayText", "交易帳號"}, {"Description", "可使用的期貨帳號"}, {"mkt", "2"}})
      .Fields({{"Acc", "帳號"}, {"Name", "戶名"}, {"Currency", "幣別"}, {"Equity", "權益數"}});
  for (const std::string& account : login.accounts) text.Row({account, "王小明", "TWD", "1000000"});
}

void SimMarket::AddOrders(ResultText& text, const SimLogin& login) const {
  text.Table("orders", {{"DisplayText", "委託"}, {"Description", "當日委託"}, {"mkt", "2"}});
  OrderColumns(text);
  for (const SimOrder& order : orders_) {
    if (login.Sees(order.account)) OrderRow(text, order);
  }
}

void SimMarket::AddDeals(ResultText& text, const SimLogin& login) const {
  text.Table("deals", {{"DisplayText", "成交"}, {"Description", "當日成交"}, {"mkt", "2"}})
      .Fields({{"DealNo", "成交序號"},
               {"OrdNo", "委託書號"},
               {"Acc", "帳號"},
               {"Prod", "商品"},
               {"Side", "買賣別"},
               {"Qty", "成交口數"},
               {"Price", "成交價"}});
  for (const Deal& deal : deals_) {
    if (!login.Sees(deal.order.account)) continue;
    text.Row({deal.number, deal.order.number, deal.order.account, deal.order.product,
              std::string(1, deal.order.side), std::to_string(deal.quantity), PriceText(deal.price)});
  }
}

void SimMarket::AddPositions(ResultText& text, const SimLogin& login) const {
  std::map<std::pair<std::string, std::string>, int> nets;
  for (const Deal& deal : deals_) {
    if (!login.Sees(deal.order.account)) continue;
    nets[{deal.order.account, deal.order.product}] += deal.order.side == 'B' ? deal.quantity : -deal.quantity;
  }
  text.Table("positions", {{"DisplayText", "部位"}, {"Description", "未平倉部位"}, {"mkt", "2"}})
      .Fields({{"Acc", "帳號"}, {"Prod", "商品"}, {"Side", "買賣別"}, {"Qty", "口數"}, {"Last", "成交價"}});
  for (const auto& [key, net] : nets) {
    if (net == 0) continue;
    text.Row({key.first, key.second, net > 0 ? "B" : "S", std::to_string(std::abs(net)),
              PriceText(QuoteOf(key.second).last)});
  }
}

void SimMarket::AddBook(ResultText& text, const SimRequest& request) const {
  const std::string id = ArgumentOf(request, "prod");
  text.Table("book", {{"DisplayText", "委託簿"}, {"mkt", "2"}})
      .Fields(
          {{"Prod", "商品"}, {"Side", "買賣別"}, {"Price", "委託價"}, {"Qty", "口數"}, {"Orders", "筆數"}});
  for (const Product& product : Products()) {
    if (!id.empty() && id != product.id) continue;
    for (const Level& level : Book(product.id)) {
      text.Row({std::string(product.id), std::string(1, level.side),
                level.price == 0 ? "MKT" : PriceText(level.price), std::to_string(level.lots),
                std::to_string(level.orders)});
    }
  }
}

// As many rows as requested, for results of any length. Prices repeat, so that runs can be compared.
void SimMarket::AddTicks(ResultText& text, const SimRequest& request) const {
  constexpr int kMostRows = 2000000;
  const std::string id = ArgumentOf(request, "prod");
  const Product* product = Find(id.empty() ? "TXF" : id);
  const int rows = std::clamp(std::atoi(ArgumentOf(request, "rows").c_str()), 0, kMostRows);
  text.Table("ticks", {{"DisplayText", "成交明細"}, {"mkt", "2"}})
      .Fields({{"No", "序號"}, {"Prod", "商品"}, {"Price", "成交價"}, {"Qty", "口數"}});
  if (product == nullptr) return;
  for (int i = 0; i < rows; ++i) {
    text.Row({std::to_string(i + 1), std::string(product->id),
              PriceText(product->first + i % 21 * product->tick), std::to_string(i % 9 + 1)});
  }
}

}  // namespace VekSim
