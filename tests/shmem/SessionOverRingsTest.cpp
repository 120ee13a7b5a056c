// Complete sessions: client, gateway, server.
#include "OtherProcess.h"
#include "sim/SimGateway.h"
#include "support/WholeSession.h"

namespace vektest {
namespace {

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

}  // namespace
}  // namespace vektest
