// Either side is killed at any moment. Only where the system closes what a killed process had open whatever
// it was doing: Wine keeps sockets of a process that was killed in the middle of a receive, and its server
// then never sleeps again.
#include <chrono>
#include <cstdlib>
#include <random>
#include <thread>

#include "shmem/OtherProcess.h"
#include "sim/SimGateway.h"

namespace vektest {
namespace {

int Rounds() {
  const char* const rounds = std::getenv("VEKAPI_KILL_ROUNDS");
  return rounds != nullptr ? std::atoi(rounds) : 30;
}

// A moment between none and a little more than a session takes to get going.
class AnyMoment {
 public:
  void Await() { std::this_thread::sleep_for(std::chrono::microseconds(random_() % 30'000)); }

 private:
  std::minstd_rand random_;
};

bool AskForALot(VekApi::VekClient& client) {
  std::string request = ".....W1 ticks\nrows=50000";
  return client.SendVekRequest(128, request.data(), static_cast<unsigned>(request.size()));
}

void Connect(VekApi::VekClient& client, const std::string& setting) {
  client.Connect(setting, "Rings", "1.2.3.4", "trader", "9800001", "secret");
}

TEST(Killed, Gateway) {
  const VekSim::SimServer server;
  Recorder recorder;
  VekApi::VekClient client(recorder);
  recorder.onEvent = [](VekApi::VekClient& inside, const std::string& line) {
    if (line == "ready") AskForALot(inside);
  };
  AnyMoment moment;
  std::map<std::string, std::size_t> before;
  for (int round = 0; round < Rounds(); ++round) {
    {
      Process gate("vekgate", GateOptions(server));
      Connect(client, gate.ReadLine());
      moment.Await();
      gate.Kill();
      ASSERT_TRUE(recorder.WaitFor("connect -")) << "round " << round;
    }
    const auto lines = recorder.Take();
    ASSERT_TRUE(lines.back().rfind("connect -2 ", 0) == 0 || lines.back().rfind("connect -3 ", 0) == 0)
        << lines.back();
    ASSERT_GT(lines.back().size(), std::string("connect -2 ").size()) << "a reason";
    if (round == 2) before = Held();
    if (round > 2) {
      ASSERT_TRUE(SettlesTo(before)) << "round " << round;
    }
  }
  ExpectNothingShared();
}

// What the test below kills: this program itself.
TEST(ClientToKill, DISABLED_AsksForMoreAndMore) {
  Recorder recorder;
  VekApi::VekClient client(recorder);
  Connect(client, std::getenv("VEKTEST_SETTING"));
  while (recorder.WaitFor("")) {
    recorder.Take();
    AskForALot(client);
  }
}

TEST(Killed, Client) {
  const VekSim::SimServer server;
  VekSim::SimGatewayConfig config;
  config.upstreamPort = server.Port();
  config.ringBytes = 4096;
  VekSim::SimGateway gateway(config);
  setenv("VEKTEST_SETTING", gateway.Setting().c_str(), 1);
  {  // what the gateway makes once and keeps
    Recorder recorder;
    VekApi::VekClient client(recorder);
    Connect(client, gateway.Setting());
    ASSERT_TRUE(recorder.WaitFor("ready"));
  }
  AnyMoment moment;
  const auto before = Held();
  for (int round = 0; round < Rounds(); ++round) {
    {
      Process client(Self(), {"--gtest_also_run_disabled_tests", "--gtest_filter=ClientToKill.*"});
      EXPECT_NE(client.ReadLine(), "");  // it runs
      moment.Await();
      client.Kill();
    }
    ASSERT_TRUE(SettlesTo(before)) << "round " << round;
  }
  gateway.Stop();
  ExpectNothingShared();
}

}  // namespace
}  // namespace vektest
