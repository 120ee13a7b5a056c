// Either side is killed at any time. Only for systems that close all descriptors of a killed process: Wine
// keeps the sockets of a process killed during a receive, and its server then never sleeps again.
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

using VekSim::SimSeen;

int Rounds() {
  const char* const rounds = std::getenv("VEKAPI_KILL_ROUNDS");
  return rounds != nullptr ? std::atoi(rounds) : 30;
}

// Memory of this process alone.
long OwnKib() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.rfind("RssAnon:", 0) == 0) return std::atol(line.c_str() + 8);
  return 0;
}

// A delay between zero and slightly more than a session needs to start.
class AnyMoment {
 public:
  void Await() { std::this_thread::sleep_for(std::chrono::microseconds(random_() % 30'000)); }

 private:
  std::minstd_rand random_;
};

class Killed : public testing::Test {
 protected:
  // The surviving side holds no more resources than before.
  void EndRound(int round) {
    ASSERT_TRUE(server_.WaitFor([](const SimSeen& seen) { return seen.signedOn.empty(); }));
    server_.Forget();
    if (round == 2) held_ = Held();
    if (round > 2) {
      ASSERT_TRUE(SettlesTo(held_)) << "round " << round;
    }
    if (round == Rounds() / 2) kib_ = OwnKib();
    if (round + 1 == Rounds() && !TestSupport::kSanitized) {  // sanitizers keep what was freed
      EXPECT_LT(OwnKib(), kib_ + 8192);
    }
  }

  VekSim::SimServer server_;

 private:
  std::map<std::string, std::size_t> held_;
  long kib_ = 0;
};

bool AskForALot(VekApi::VekClient& client) {
  return Send(client, 128, "W1 ticks\nrows=50000");
}

TEST_F(Killed, Gateway) {
  Recorder recorder;
  VekApi::VekClient client(recorder);
  recorder.onEvent = [](VekApi::VekClient& inside, const std::string& line) {
    if (line == "ready" || line.rfind("result ", 0) == 0) AskForALot(inside);
  };
  AnyMoment moment;
  for (int round = 0; round < Rounds(); ++round) {
    {
      Process gate("vekgate", GateOptions(server_));
      Connect(client, gate.ReadLine());
      moment.Await();
      gate.Kill();
      ASSERT_TRUE(recorder.WaitFor("connect -")) << "round " << round;
    }
    const auto lines = recorder.Take();
    const std::string end = lines.back().substr(0, std::string("connect -2 ").size());
    ASSERT_TRUE(end == "connect -2 " || end == "connect -3 ") << end;
    ASSERT_GT(lines.back().size(), end.size()) << "a reason";
    EndRound(round);
  }
  ExpectNothingShared();
}

// The program killed by the test below: this program itself.
TEST(ClientToKill, DISABLED_AsksForMoreAndMore) {
  Recorder recorder;
  VekApi::VekClient client(recorder);
  Connect(client, std::getenv("VEKTEST_SETTING"));
  while (recorder.WaitFor("")) {
    recorder.Take();
    AskForALot(client);
  }
}

TEST_F(Killed, Client) {
  VekSim::SimGatewayConfig config;
  config.upstreamPort = server_.Port();
  config.ringBytes = 4096;
  VekSim::SimGateway gateway(config);
  setenv("VEKTEST_SETTING", gateway.Setting().c_str(), 1);
  AnyMoment moment;
  for (int round = 0; round < Rounds(); ++round) {
    {
      Process client(Self(), {"--gtest_also_run_disabled_tests", "--gtest_filter=ClientToKill.*"});
      EXPECT_NE(client.ReadLine(), "");  // it is running
      moment.Await();
      client.Kill();
    }
    EndRound(round);
  }
  gateway.Stop();
  ExpectNothingShared();
}

}  // namespace
}  // namespace vektest
