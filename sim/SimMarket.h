#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "sim/SimChange.h"
#include "sim/SimRejects.h"
#include "sim/SimSeen.h"
#include "sim/SimText.h"
#include "sim/SimUsers.h"

namespace VekSim {

/// The outcome of an order, an amendment or a cancel, or of something that happened to an order.
struct SimTrade {
  SimRejection rejection;            ///< why it was not accepted
  SimOrder order;                    ///< its state afterwards
  std::vector<std::string> reports;  ///< UTF-8; for every session that sees the order's account

  bool Accepted() const { return !rejection; }
};

/// A small futures exchange and its broker's books: products, orders, deals, positions, accounts. Clients
/// trade with the market at its last price, not with each other. For one thread. Independent of links,
/// packets and rates.
class SimMarket {
 public:
  struct Product {
    std::string_view id, name, description, group, currency;
    int first = 0;       ///< price of the first trade, hundredths
    int tick = 100;      ///< hundredths
    int multiplier = 1;  ///< money per point
    int margin = 0;      ///< per lot
  };
  struct Quote {
    int last = 0;           ///< hundredths
    int lots = kUnlimited;  ///< how many lots still trade at this price
  };
  struct Deal {
    std::string number;
    SimOrder order;
    int quantity = 0;
    int price = 0;
  };
  /// One price of the book of resting orders.
  struct Level {
    char side = 'B';
    int price = 0;  ///< hundredths
    int lots = 0;
    int orders = 0;
  };
  static constexpr int kUnlimited = -1;

  SimMarket();
  static const std::vector<Product>& Products();
  static const Product* Find(std::string_view id);  ///< null if there is none
  static bool IsTrade(const std::string& verb) {
    return verb == "new" || verb == "amend" || verb == "cancel";
  }

  /// The tables answering a query; table "error" for an unknown verb.
  ResultText Query(const SimLogin& login, const SimRequest& request) const;
  /// Adds the table "acc" of a login's accounts.
  void AddAccounts(ResultText& text, const SimLogin& login) const;
  /// A verb of IsTrade. With `hold` a new order rests, whatever its price, until Fill or Reject.
  SimTrade Trade(const SimLogin& login, const SimRequest& request, bool hold = false);

  // Events without a request. For an order that is unknown or has nothing left they return a rejection and
  // change nothing.
  /// Fills `quantity` lots (0, or more than is left: all) at `price` (0: the order's own, or the last).
  SimTrade Fill(const std::string& number, int quantity, int price);
  /// The exchange rejects what is left.
  SimTrade Reject(const std::string& number, const SimRejection& why);
  /// The last price becomes `price` (rounded to a tick, at least one), at which `lots` lots trade
  /// (kUnlimited: any number; less is not allowed); resting orders that it reaches fill, at their own prices.
  /// No effect if there is no such product.
  std::vector<SimTrade> Move(std::string_view product, int price, int lots);

  const std::vector<SimOrder>& Orders() const { return orders_; }
  const Quote& QuoteOf(std::string_view product) const { return quotes_.at(std::string(product)); }
  std::vector<Level> Book(std::string_view product) const;  ///< best prices first, sells before buys
  /// Forgets orders, deals and prices.
  void Forget();
  /// Repeats a change made by an earlier market; false, without effect, if it does not fit.
  bool Restore(const SimChange& change);

  std::function<std::chrono::microseconds()> timeOfDay{};  ///< for orders and reports; empty: midnight
  std::function<void(const SimChange&)> changed{};         ///< called for each change; may be empty

 private:
  SimTrade New(const SimLogin& login, const SimRequest& request, bool hold);
  SimTrade Amend(const SimLogin& login, const SimRequest& request);
  SimTrade Cancel(const SimLogin& login, const SimRequest& request);
  /// Why an order is rejected; none if it is not.
  static SimRejection Fault(const SimLogin& login, const SimOrder& order, const SimRequest& request);
  SimOrder* Seen(const SimLogin& login, const SimRequest& request);
  SimOrder* Open(const std::string& number, SimRejection& why);
  SimOrder* OrderOf(const std::string& number);
  bool Reaches(const SimOrder& order) const;
  std::vector<std::string> Reached(std::string_view product);
  void Match(SimOrder& order, std::vector<std::string>& reports);
  void Trade(SimOrder& order, int price, int quantity, std::vector<std::string>& reports);
  void Drop(SimOrder& order, std::vector<std::string>& reports);
  std::string ReportOf(const char* kind, const SimOrder& order, const std::string& more) const;
  std::chrono::microseconds TimeOfDay() const {
    return timeOfDay ? timeOfDay() : std::chrono::microseconds();
  }
  /// All changes are made here.
  void Make(const SimChange& change);
  bool Fits(const SimChange& change);
  void Apply(const SimChange& change);

  void AddProducts(ResultText& text, const SimRequest& request) const;
  void AddOrders(ResultText& text, const SimLogin& login) const;
  void AddDeals(ResultText& text, const SimLogin& login) const;
  void AddPositions(ResultText& text, const SimLogin& login) const;
  void AddBook(ResultText& text, const SimRequest& request) const;
  void AddTicks(ResultText& text, const SimRequest& request) const;

  std::vector<SimOrder> orders_;
  std::vector<Deal> deals_;
  std::map<std::string, Quote> quotes_;
  unsigned ranks_ = 0;
};

int LeftOf(const SimOrder& order);
std::string OrderStateText(const SimOrder& order);
std::string OrderPriceText(const SimOrder& order);  ///< points, or "MKT"
std::string_view ForceText(TimeInForce force);      ///< ROD, IOC or FOK
std::string PriceText(int hundredths);
std::string TimeText(std::chrono::microseconds timeOfDay);  ///< HH:MM:SS.mmm
/// Hundredths from points such as 18250 or 18250.5; 0 if it is not a price of 0 to a million.
int ReadPrice(std::string_view points);
std::string ArgumentOf(const SimRequest& request, const std::string& key);  ///< empty when absent
/// A table "order" with the current state of one order.
ResultText OrderTable(const SimOrder& order);
/// A table "error" with a code and a reason.
ResultText ErrorTable(const SimRejection& rejection);

}  // namespace VekSim
