// A small trader: two servers, a query, paced orders, and the fate of each. It survives the restart of a
// server.
//
//     trader HOST:PORT [HOST:PORT]
#include <cstdio>
#include <vector>

#include "vekapi/Session.hpp"

using VekApi::VekFate;
using VekApi::VekSession;
using namespace std::chrono_literals;

int main(int argc, char** argv) {
  CVekSessionConfig config = VekSession::Defaults();
  config.id1 = "trader";
  config.rateCount = 5, config.rateMs = 200;  // the server's limit
  config.ackRule = vsa_ByWorkId, config.idSeparator = '\x01';

  VekSession session(config, [](const CVekEvent& event) {
    if (event.kind == vse_State) std::printf("%s\n", VekApi::Describe(event).c_str());
  });
  for (int i = 1; i < argc; ++i) session.AddEndpoint(argv[i]);
  session.AddResync("orders");
  session.Open("secret");
  if (!session.WaitUntilUp(30s)) return 1;
  const VekFate products = session.Ask("products", 3s).get();
  std::printf("products: %s", products.FateText());
  if (products.IsAnswered()) {
    for (const VekApi::VekRecord product : products.result["products"]) {
      std::printf(" %s", product["Prod"].data());
    }
  }
  std::printf("\n");

  // Orders that were never sent are repeated. Those that may have arrived are not: ask the server about them.
  std::size_t left = 30, unsure = 0;
  while (left > 0 && session.WaitUntilUp(30s)) {
    std::vector<std::future<VekFate>> orders;
    for (std::size_t i = 0; i < left; ++i) {
      orders.push_back(session.AskToSend("new\nprod=TXF side=B qty=1 price=MKT", 10s, 30s));
    }
    for (std::future<VekFate>& order : orders) {
      const VekFate fate = order.get();
      if (fate.fate == vsf_Refused) continue;  // the link has just ended
      std::printf("order %s: %s %s\n", fate.workId.c_str(), fate.FateText(), fate.ReasonText());
      std::fflush(stdout);
      if (!fate.SafeToRepeat()) --left;
      if (!fate.SafeToRepeat() && !fate.IsAnswered()) ++unsure;
    }
  }
  std::printf("%zu orders left, %zu to ask about\n", left, unsure);
  return products.IsAnswered() && left == 0 ? 0 : 1;
}
