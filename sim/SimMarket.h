#pragma once

#include <string>
#include <vector>

#include "sim/SimSeen.h"
#include "sim/SimText.h"
#include "sim/SimUsers.h"

namespace VekSim {

/// The outcome of an order or a cancel.
struct SimTrade {
  bool accepted = false;
  std::string reason;                ///< UTF-8; why it was not accepted
  SimOrder order;                    ///< its state afterwards
  std::vector<std::string> reports;  ///< UTF-8; for every session that sees the order's account
};

/// A small futures exchange and its broker's books: products, orders, deals, positions, accounts. For one
/// thread. Independent of links, packets and rates.
class SimMarket {
 public:
  struct Product {
    std::string_view id, name, description, group, currency;
    int last = 0;        ///< hundredths
    int tick = 100;      ///< hundredths
    int multiplier = 1;  ///< money per point
    int margin = 0;      ///< per lot
  };
  struct Deal {
    std::string number;
    SimOrder order;
    int quantity = 0;
    int price = 0;
  };

  static const std::vector<Product>& Products();
  static const Product* Find(std::string_view id);  ///< null if there is none
  static bool IsTrade(const std::string& verb) { return verb == "new" || verb == "cancel"; }

  /// The tables answering a query; table "error" for an unknown verb.
  ResultText Query(const SimLogin& login, const SimRequest& request) const;
  /// Adds the table "acc" of a login's accounts.
  void AddAccounts(ResultText& text, const SimLogin& login) const;
  SimTrade Trade(const SimLogin& login, const SimRequest& request);

 private:
  SimTrade New(const SimLogin& login, const SimRequest& request);
  /// Why an order is rejected; empty if it is valid.
  static std::string Fault(const SimLogin& login, const SimOrder& order, std::string_view side,
                           std::string_view price);
  void Match(SimOrder& order, std::vector<std::string>& reports);
  SimTrade Cancel(const SimLogin& login, const SimRequest& request);
  void Fill(SimOrder& order, int price, int quantity, std::vector<std::string>& reports);
  void AddProducts(ResultText& text, const SimRequest& request) const;
  void AddOrders(ResultText& text, const SimLogin& login) const;
  void AddDeals(ResultText& text, const SimLogin& login) const;
  void AddPositions(ResultText& text, const SimLogin& login) const;
  void AddTicks(ResultText& text, const SimRequest& request) const;

  std::vector<SimOrder> orders_;
  std::vector<Deal> deals_;
};

int LeftOf(const SimOrder& order);
std::string OrderStateText(const SimOrder& order);
std::string OrderPriceText(const SimOrder& order);  ///< points, or "MKT"
std::string PriceText(int hundredths);
std::string ArgumentOf(const SimRequest& request, const std::string& key);  ///< empty when absent
/// A table "order" with the current state of one order.
ResultText OrderTable(const SimOrder& order);
/// A table "error" with a code and a reason (UTF-8).
ResultText ErrorTable(std::string_view code, std::string_view reason);

}  // namespace VekSim
