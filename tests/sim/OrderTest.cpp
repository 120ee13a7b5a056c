#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "sim/SimMarket.h"
#include "sim/SimOrderFile.h"
#include "sim/SimRequests.h"

namespace VekSim {
namespace {

const SimLogin kLogin{"trader", {"9800001"}};

// The outcome of a request: its reports' kinds with the lots, or the code of its rejection.
std::string Told(const SimTrade& trade) {
  std::string told;
  for (const std::string& report : trade.reports) {
    const std::size_t lots = report.find("\1Qty=") + 5;
    told += (told.empty() ? "" : " ") + report.substr(0, report.find('\1')) +
            report.substr(lots, report.find('\1', lots) - lots);
  }
  return trade.Accepted() ? told : std::to_string(trade.rejection.code);
}

std::string Do(SimMarket& market, const std::string& verb, const std::string& arguments) {
  return Told(market.Trade(kLogin, ParseRequest("w " + verb + "\n" + arguments)));
}

TEST(Orders, TradeAsTheirTimeInForceSays) {
  const std::string buy = "prod=TXF side=B ";
  const struct {
    int lots;
    std::string order, told;
  } cases[] = {
      {-1, "qty=3 price=18250", "accepted3 fill1 fill2"},
      {2, "qty=3 price=18250", "accepted3 fill1 fill1"},
      {2, "qty=3 price=18250 tif=IOC", "accepted3 fill1 fill1 cancelled1"},
      {2, "qty=3 price=18250 tif=FOK", "accepted3 cancelled3"},
      {3, "qty=3 price=18250 tif=FOK", "accepted3 fill1 fill2"},
      {-1, "qty=3 price=18249", "accepted3"},
      {-1, "qty=3 price=18249 tif=IOC", "accepted3 cancelled3"},
      {2, "qty=3 price=MKT", "accepted3 fill1 fill1 cancelled1"},
      {0, "qty=1 price=MKT tif=FOK", "accepted1 cancelled1"},
      {-1, "qty=3 price=MKT tif=ROD", "106"},
      {-1, "qty=3 price=18250 tif=GTC", "106"},
      {-1, "qty=3 price=nan", "105"},
      {-1, "qty=3 price=18250.5", "105"},
      {-1, "qty=500 price=18250", "104"},
      {-1, "qty=1 price=18250 acc=1", "101"},
  };
  for (const auto& one : cases) {
    SimMarket market;
    market.Move("TXF", 1825000, one.lots);
    EXPECT_EQ(Do(market, "new", buy + one.order), one.told) << one.order << " with " << one.lots;
  }
}

TEST(Orders, AreAmendedDownAndToAnotherPrice) {
  SimMarket market;
  Do(market, "new", "prod=TXF side=S qty=5 price=18260");
  EXPECT_EQ(Do(market, "amend", "ord=A00001"), "110");
  EXPECT_EQ(Do(market, "amend", "ord=A00001 qty=6"), "109");
  EXPECT_EQ(Do(market, "amend", "ord=A00001 price=18260.5"), "105");
  EXPECT_EQ(Do(market, "amend", "ord=A00009 qty=1"), "107");
  EXPECT_EQ(Do(market, "amend", "ord=A00001 qty=4 price=18255"), "amended4");
  market.Move("TXF", 1825500, 2);
  EXPECT_EQ(Do(market, "amend", "ord=A00001 qty=2"), "104") << "as much is filled";
  EXPECT_EQ(Do(market, "amend", "ord=A00001 qty=3 price=18250"), "amended3");
  market.Move("TXF", 1825000, -1);
  EXPECT_EQ(Do(market, "cancel", "ord=A00001"), "108");
}

TEST(Orders, FillInTheOrderOfPriceAndTimeWhenThePriceComes) {
  SimMarket market;
  for (const char* price : {"18100", "18200", "18150", "18200"}) {
    Do(market, "new", "prod=TXF side=B qty=1 price=" + std::string(price));
  }
  std::string numbers;
  Do(market, "amend", "ord=A00002 price=18201");
  Do(market, "amend", "ord=A00002 price=18200");
  for (const SimTrade& trade : market.Move("TXF", 1815000, 2)) numbers += trade.order.number + ' ';
  EXPECT_EQ(numbers, "A00004 A00002 ") << "an amended price goes to the end of the queue";
  ASSERT_EQ(market.Book("TXF").size(), 2u);
  EXPECT_EQ(market.Book("TXF").front().price, 1815000);
}

std::string Tables(const SimMarket& market) {
  std::string all;
  for (const char* verb : {"orders", "deals", "book", "products"}) {
    all += market.Query(kLogin, ParseRequest("q " + std::string(verb))).Text();
  }
  return all;
}

struct OrderFile : testing::Test {
  OrderFile() : path("orders-" + std::to_string(reinterpret_cast<std::uintptr_t>(this))) {
    std::remove(path.c_str());
  }
  ~OrderFile() override { std::remove(path.c_str()); }
  void Write(const std::string& text) { std::ofstream(path, std::ios::binary) << text; }
  // The state produced by the file's changes, or the error.
  std::string Read() {
    try {
      SimMarket market;
      SimOrderFile file(path);
      file.Restore(market);
      return Tables(market);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
  }
  const std::string path;
};

TEST_F(OrderFile, TornAnywhereKeepsTheWholeLines) {
  std::vector<std::string> states{Tables(SimMarket())};
  std::string text;
  {
    SimMarket market;
    SimOrderFile file(path);
    market.changed = [&](const SimChange& change) { file.Add(change); };
    const auto note = [&](const SimChange&) { states.push_back(Tables(market)); };
    market.changed = [&, add = market.changed](const SimChange& change) { add(change), note(change); };
    Do(market, "new", "prod=TXF side=B qty=3 price=18250");
    Do(market, "new", "prod=EXF side=S qty=5 price=900 tif=ROD");
    Do(market, "amend", "ord=A00002 qty=4 price=890");
    market.Move("EXF", 89000, 2);
    market.Reject("A00002", SimReject::Refused);
    market.Forget();
    Do(market, "new", "prod=TXF side=B qty=1 price=18000");
    Do(market, "cancel", "ord=A00001");
  }
  {
    std::ifstream in(path, std::ios::binary);
    text.assign(std::istreambuf_iterator<char>(in), {});
  }
  for (std::size_t size = 0; size <= text.size(); ++size) {
    Write(text.substr(0, size));
    const auto lines = std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(size), '\n');
    const std::string& state = states[static_cast<std::size_t>(std::max<std::ptrdiff_t>(lines - 1, 0))];
    ASSERT_EQ(Read(), state) << size;
    if (size % 16 == 0) {
      ASSERT_EQ(Read(), state) << size << ", once more";
    }
  }
}

TEST_F(OrderFile, SaysWhichLineIsBad) {
  const std::string head = "veksim orders 1\n", order = "new A00001 w 1 TXF B 3 1825000 R 0 0 9800001\n";
  const struct {
    std::string text, error;
  } cases[] = {
      {"hello\n", ":1: not a file of orders"},
      {"hello", ":1: not a file of orders"},
      {head + order + "fill A00001 4 1825000\n", ":3: does not fit"},
      {head + order + order, ":3: does not fit"},
      {head + "fill A00001 1 1\n", ":2: does not fit"},
      {head + "price XYZ 1 1\n", ":2: does not fit"},
      {head + order + "amend A00001 1\n", ":3: is no change"},
      {head + order + "\n", ":3: is no change"},
      {head + "new A00001 w 1 TXF X 3 1825000 R 0 0 9800001\n", ":2: is no change"},
  };
  for (const auto& one : cases) {
    Write(one.text);
    EXPECT_TRUE(Read().starts_with(path + one.error)) << Read();
  }
}

}  // namespace
}  // namespace VekSim
