// Complete sessions: client, gateway, server. They leave nothing behind.
#include <cstdlib>
#include <thread>

#include "OtherProcess.h"
#include "sim/SimGateway.h"
#include "support/WholeSession.h"

namespace vektest {
namespace {

using VekApi::VekClient;
using VekSim::SimConfig;
using VekSim::SimGateway;
using VekSim::SimGatewayConfig;
using VekSim::SimServer;

SimGatewayConfig Behind(const SimServer& server, std::uint32_t ringBytes = 1 << 16) {
  SimGatewayConfig config;
  config.upstreamPort = server.Port();
  config.ringBytes = ringBytes;
  config.namePrefix = FreshName();
  return config;
}

struct WholeCase {
  VekSim::ByteOrder order;
  int mode;
  std::uint32_t ringBytes;
  int spinUs;  // for both sides
};
class EveryRing : public testing::TestWithParam<WholeCase> {};

TEST_P(EveryRing, WholeSession) {
  SimConfig config;
  config.order = GetParam().order;
  config.mode = GetParam().mode;
  config.key = "0123456789";
  config.requestRate = WholeSession::kRequestRate;
  SimServer server(config);
  const std::uint32_t ring = GetParam().ringBytes;
  SimGatewayConfig behind = Behind(server, ring);
  behind.spinUs = GetParam().spinUs;
  const SimGateway gateway(behind);
  // Less data for the smallest rings: every wrap-around costs wake-ups.
  WholeSession(server, gateway.Setting() + " spin=" + std::to_string(behind.spinUs),
               std::min<std::size_t>(60'000, ring * std::size_t{500}))
      .Run();
}
INSTANTIATE_TEST_SUITE_P(ByWireAndRing, EveryRing,
                         testing::Values(WholeCase{VekSim::ByteOrder::Little, 1, 1 << 20, 0},
                                         WholeCase{VekSim::ByteOrder::Big, 1, 64, 0},
                                         WholeCase{VekSim::ByteOrder::Little, 0, 1, 0},
                                         WholeCase{VekSim::ByteOrder::Big, 2, 4096, 200}));

TEST(OverRings, ManyRoundsLeaveTheSystemAsItWas) {
  SimConfig config;
  config.keepPackets = false;
  SimServer server(config);
  SimGateway gateway(Behind(server, 512));
  const auto round = [&](int how) {
    Recorder recorder;
    VekClient client(recorder);
    Connect(client, gateway.Setting());
    if (how % 4 == 0) return;               // while requesting the name
    if (how % 4 == 1) client.Disconnect();  // the same, and once more
    if (how % 4 >= 2) {
      ASSERT_TRUE(recorder.WaitFor("ready"));
    }
    if (how % 4 != 3) return;
    std::thread sender([&] {
      while (Send(client, 150, std::string(3000, 's'))) continue;
    });
    client.Disconnect();
    sender.join();
  };
  for (int i = 0; i < 8; ++i) round(i);  // allocations made once and kept
  const auto before = Held();
  const int rounds = std::getenv("VEKAPI_LONG_TESTS") != nullptr ? 10'000 : 200;
  for (int i = 0; i < rounds; ++i) round(i);
  EXPECT_TRUE(SettlesTo(before));
}

}  // namespace
}  // namespace vektest
