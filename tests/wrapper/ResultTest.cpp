// The C++20 headers over the flat functions: results, clients and flow control.
#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <vector>

#include "sim/SimServer.h"
#include "vekapi/Client.hpp"
#include "vekapi/Session.hpp"

namespace vektest {
namespace {

using namespace std::chrono_literals;
using namespace VekApi;

static_assert(std::ranges::random_access_range<VekResult> && std::ranges::view<VekTableView> &&
              std::ranges::borrowed_range<VekRecord> && std::ranges::random_access_range<VekColumns>);

template <class Result>
concept LendsTables = requires(Result&& result) {
  std::forward<Result>(result).Find("");
}
|| requires(Result&& result) {
  std::forward<Result>(result).At(0);
};
static_assert(LendsTables<VekResult&> && LendsTables<VekResultView> && !LendsTables<VekResult>);

std::string_view ProductOf(const VekRecord& record) {
  return record["Prod"];
}

VekFate Products(const std::string& query = "products") {
  VekSim::SimConfig answers;
  answers.answers["ragged"] =
      "\x02T\nfirst\n\x03"
      "A\nsecond\n";
  const VekSim::SimServer server(answers);
  CVekSessionConfig config = VekSession::Defaults();
  config.id1 = "trader";
  VekSession session(config);
  session.AddEndpoint(":" + server.Setting());
  session.Open("secret");
  EXPECT_TRUE(session.WaitUntilUp(30s));
  return session.Ask(query, 20s).get();
}

TEST(ResultWrapper, ReadsNaturallyAndOutlivesItsSession) {
  VekResult first = Products().result;
  const VekResult kept = std::move(first);
  EXPECT_FALSE(first) << "moved";  // NOLINT: promised
  ASSERT_TRUE(kept);
  const VekTableView table = kept["products"];
  EXPECT_EQ(table.Attributes().Find("mkt"), "2");
  EXPECT_EQ(table.Market(), cvam_Futures);
  const auto gold = std::ranges::find(table, "GDF", ProductOf);
  ASSERT_NE(gold, table.end());
  EXPECT_EQ((*gold)[table.Columns()["Currency"]], "USD");
  EXPECT_EQ(ToUtf8((*gold)["Name"]), "黃金期貨");
  EXPECT_EQ((table | std::views::reverse | std::views::transform(ProductOf)).front(), "GDF");
  int column = 0;
  for (const VekValue& value : table[5]) {
    EXPECT_EQ(value.text, CVekTable_RecordIndexField(&table.Handle(), 5, column)) << value.column.Name();
    EXPECT_EQ(value.column.Index(), column++);
  }
  EXPECT_EQ(column, table.Columns().size());
  EXPECT_EQ(std::ranges::distance(table), 6);
}

TEST(ResultWrapper, SaysWhatIsNotThere) {
  const VekResult kept = Products().result;
  const VekRecord record = kept[0][0];
  EXPECT_THROW(kept["orders"], std::out_of_range);
  EXPECT_THROW(kept[1], std::out_of_range);
  EXPECT_THROW(kept[0][6], std::out_of_range);
  EXPECT_THROW(record["price"], std::out_of_range) << "names are compared bytewise";
  EXPECT_THROW(record[9], std::out_of_range);
  EXPECT_THROW(record[VekColumn()], std::out_of_range);
  EXPECT_EQ(record.Find("price"), std::nullopt);
  const VekResult ragged = Products("ragged").result;
  for (const VekValue& value : ragged["T"][0]) EXPECT_EQ(value.text, "") << "came before its columns";
  EXPECT_FALSE(VekResult()) << "of a fate without one";
  EXPECT_TRUE(VekResult().empty());
}

TEST(ClientWrapper, EventsAreFunctionsAndMayDeleteTheClient) {
  const VekSim::SimServer server;
  std::unique_ptr<VekFlatClient> client;
  std::optional<VekSender> sender;
  std::promise<std::string> done;
  VekClientEvents events;
  events.onReady = [&] { EXPECT_EQ(client->Query("q products"), 0); };
  events.onResult = [&](VekResultView result) {
    EXPECT_EQ(result.WorkId(), "q");
    EXPECT_TRUE(sender->Send("o1 new\nprod=TXF side=B qty=1 price=MKT"));
    EXPECT_FALSE(sender->Send("o2 " + std::string(100, 'x') + "\ny")) << "one in ten minutes";
    throw std::runtime_error("dropped");
  };
  events.onAck = [&, captured = std::string("still here")](int code, std::string_view text) {
    sender->Acknowledge(code, text);
    const std::optional<std::string> held = sender->TakeHeld();
    client.reset();
    done.set_value(captured + " " + held.value_or("nothing").substr(0, 3));
  };
  client = std::make_unique<VekFlatClient>(events);
  sender.emplace(client->Handle());
  sender->SetRate(1, 600'000ms);
  ASSERT_TRUE(client->Connect(":" + server.Setting(), {.id1 = "trader", .password = "secret"}));
  EXPECT_EQ(done.get_future().get(), "still here o2 ");
  EXPECT_EQ(sender->TakeHeld(), std::nullopt);
}

VekDetached TakeTurns(VekGate& gate, char name, std::string& log, std::promise<void>* last) {
  for (int turn = 0; turn < 2; ++turn) {
    const bool granted = co_await gate.NextTurn();
    log += granted ? name : '-';
  }
  if (last != nullptr) last->set_value();
}

TEST(GateWrapper, CoroutinesTakeTurnsInOrder) {
  std::string log;
  std::promise<void> last;
  {
    VekGate gate;
    gate.SetRate(1, VekGate::Ms::max());
    TakeTurns(gate, 'a', log, nullptr);
    TakeTurns(gate, 'b', log, nullptr);
    TakeTurns(gate, 'c', log, &last);
    EXPECT_EQ(log, "a");
    gate.SetRate(0, 0ms);  // its timer calls soon
    last.get_future().wait();
    gate.SetRate(1, 600'000ms);
    EXPECT_TRUE(gate.Take());
    EXPECT_GE(gate.Check(), -1);
    EXPECT_FALSE(gate.Take());
    TakeTurns(gate, 'd', log, nullptr);
  }
  EXPECT_EQ(log, "aabcbc--") << "who waits goes on when the gate is deleted";
}

}  // namespace
}  // namespace vektest
