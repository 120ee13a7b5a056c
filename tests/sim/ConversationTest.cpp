#include <gtest/gtest.h>

#include "RawClient.h"
#include "sim/SimText.h"

namespace VekSim {
namespace {

struct Case {
  const char* name;
  ByteOrder order;
  int mode;
  std::string key;
};

class Conversation : public testing::TestWithParam<Case> {
 protected:
  static SimConfig Config() {
    SimConfig config;
    config.order = GetParam().order;
    config.mode = GetParam().mode;
    config.key = GetParam().key;
    config.queryRate = {7, 500, 0};
    return config;
  }
};

TEST_P(Conversation, SignsOnQueriesTradesAndReports) {
  const SimConfig config = Config();
  SimServer server(config);
  RawClient client(server, config);

  client.Connect();
  const std::string hello = client.Next();
  EXPECT_EQ(CodeOf(hello), Code::kConnect);
  EXPECT_EQ(hello[4], config.order == ByteOrder::Little ? '\x78' : '\x12');

  client.SignOn("trader/", "secret");
  const std::string signedOn = client.NextText();
  EXPECT_EQ(signedOn.substr(0, 11), "\x0ASgn.Result");
  EXPECT_NE(signedOn.find("\ntrader\x01"
                          "7\x01"
                          "500\n"),
            std::string::npos)
      << signedOn;
  EXPECT_NE(signedOn.find("\n9800002\x01"), std::string::npos);

  client.Request(Code::kTask, "q1 products\ngroup=O");
  const std::string products = client.NextText();
  EXPECT_NE(products.find("\nTXO\x01臺指選擇權\x01"), std::string::npos) << products;
  EXPECT_EQ(products.find("\nTXF\x01"), std::string::npos);

  client.Request(
      Code::kAck,
      "w1 new\nprod=TXF\x01side=B\x01qty=3\x01price=MKT\nw2 new\nprod=NONE side=B qty=1 price=MKT");
  EXPECT_EQ(client.NextText(),
            "w1\x01"
            "accepted\x01"
            "A00001\nw2\x01rejected\x01" +
                ToBig5("無此商品"));
  for (const char* report :
       {"accepted\x01OrdNo=A00001\x01WorkID=w1\x01", "fill\x01OrdNo=A00001\x01WorkID=w1\x01",
        "fill\x01OrdNo=A00001\x01WorkID=w1\x01"}) {
    int code = 0;
    EXPECT_EQ(client.NextText(&code).rfind(report, 0), 0u);
    EXPECT_EQ(code, Code::kReport);
  }
  client.Request(Code::kTask, "q2 positions");
  EXPECT_NE(client.NextText().find("\n9800001\x01TXF\x01"
                                   "B\x01"
                                   "3\x01"),
            std::string::npos);

  const SimSeen seen = server.Seen();
  ASSERT_EQ(seen.connects.size(), 1u);
  EXPECT_EQ(seen.connects[0].name, "ap");
  EXPECT_EQ(seen.connects[0].version, (std::array<std::uint16_t, 4>{1, 2, 3, 4}));
  ASSERT_EQ(seen.orders.size(), 1u);
  EXPECT_EQ(seen.orders[0].workId, "w1");
  EXPECT_EQ(seen.requests.size(), 4u);
  EXPECT_EQ(seen.batches, 1u);
}

TEST_P(Conversation, JoinsLongRequestsAndCutsLongResults) {
  const SimConfig config = Config();
  SimServer server(config);
  RawClient client(server, config);
  client.Enter();
  client.Request(Code::kTask, "long ticks\nrows=9000 filler=" + std::string(9000, 'f'));
  const std::string result = client.NextText();
  // Work id, the mark of the long form, then four bytes with the length of exactly that text.
  EXPECT_EQ(result.substr(0, 7), std::string("\4long\xFF\xFF"));
  const bool big = config.order == ByteOrder::Big;
  const std::size_t stated =
      ReadU16(result, big ? 9 : 7, config.order) + 65536 * ReadU16(result, big ? 7 : 9, config.order);
  EXPECT_EQ(stated, result.size() - 11);
  EXPECT_EQ(result.substr(result.rfind('\n', result.size() - 2) + 1, 9), "9000\x01TXF\x01");
  EXPECT_EQ(server.Seen().requests.at(0).args.at("filler").size(), 9000u);
}

INSTANTIATE_TEST_SUITE_P(Orders, Conversation,
                         testing::Values(Case{"LittlePlain", ByteOrder::Little, 0, ""},
                                         Case{"BigScrambled", ByteOrder::Big, 1, std::string("k\0\xFFy", 4)},
                                         Case{"LittleOneWay", ByteOrder::Little, 2, std::string(255, 'z')},
                                         Case{"BigKeyless", ByteOrder::Big, -3, ""}),
                         [](const auto& one) { return std::string(one.param.name); });

}  // namespace
}  // namespace VekSim
