// Clients are killed at any time. Only for systems that close all descriptors of a killed process: Wine keeps
// the sockets of a process killed during a receive, and its server then never sleeps again.
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <random>
#include <thread>

#include "shmem/OtherProcess.h"
#include "sim/SimGateway.h"
#include "support/Sanitized.h"

namespace vektest {
namespace {

// Memory of this process alone.
long OwnKib() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.rfind("RssAnon:", 0) == 0) return std::atol(line.c_str() + 8);
  return 0;
}

// The program killed by the test below: this program itself.
TEST(ClientToKill, DISABLED_AsksForMoreAndMore) {
  Recorder recorder;
  VekApi::VekClient client(recorder);
  Connect(client, std::getenv("VEKTEST_SETTING"));
  while (recorder.WaitFor("")) {
    recorder.Take();
    Send(client, 128, "W1 ticks\nrows=50000");
  }
}

TEST(Killed, ClientsLeaveNothingInTheGateway) {
  VekSim::SimServer server;
  VekSim::SimGateway gateway({.upstreamPort = server.Port(), .ringBytes = 4096});
  setenv("VEKTEST_SETTING", gateway.Setting().c_str(), 1);
  constexpr int kRounds = 30;
  TestSupport::THeld held;
  long kib = 0;
  std::minstd_rand random;
  for (int round = 0; round < kRounds; ++round) {
    {
      Process client(Self(), {"--gtest_also_run_disabled_tests", "--gtest_filter=ClientToKill.*"});
      EXPECT_NE(client.ReadLine(), "");  // it is running
      // Between zero and slightly more than a session needs to start.
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 30'000));
      client.Kill();
    }
    ASSERT_TRUE(server.WaitFor([](const VekSim::SimSeen& seen) { return seen.signedOn.empty(); }));
    server.Forget();
    if (round == 2) held = Held();
    if (round > 2) {
      ASSERT_TRUE(SettlesTo(held)) << "round " << round;
    }
    if (round == kRounds / 2) kib = OwnKib();
  }
  if (!TestSupport::kSanitized) {  // sanitizers keep what was freed
    EXPECT_LT(OwnKib(), kib + 8192);
  }
  gateway.Stop();
  ExpectNothingShared();
}

}  // namespace
}  // namespace vektest
