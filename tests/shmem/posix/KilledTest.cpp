// Either side is killed at any time. Only for systems that close all descriptors of a killed process: Wine
// keeps the sockets of a process killed during a receive, and its server then never sleeps again.
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <random>
#include <thread>

#include "shmem/OtherProcess.h"
#include "sim/SimGateway.h"

namespace vektest {
namespace {

using VekSim::SimSeen;

// From this many rounds on, memory is compared, and each stage must have occurred.
constexpr int kManyRounds = 1000;

int Rounds() {
  const char* const rounds = std::getenv("VEKAPI_KILL_ROUNDS");
  return rounds != nullptr ? std::atoi(rounds) : 30;
}

// A delay between zero and slightly more than a session needs to start.
class AnyMoment {
 public:
  void Await() { std::this_thread::sleep_for(std::chrono::microseconds(random_() % 30'000)); }

 private:
  std::minstd_rand random_;
};

// Of this process, in KiB.
std::map<std::string, long> Memory() {
  std::map<std::string, long> memory;
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    for (const std::string what : {"VmRSS:", "VmData:"}) {
      if (line.rfind(what, 0) == 0) memory[what] = std::atol(line.c_str() + what.size());
    }
  }
  return memory;
}

class Killed : public testing::Test {
 protected:
  // The surviving side holds no more resources than before. `stage` is how far the other side had come.
  void EndRound(int round, const std::string& stage) {
    ASSERT_TRUE(server_.WaitFor([](const SimSeen& seen) { return seen.signedOn.empty(); }));
    server_.Forget();
    ++stages_[stage];
    if (round == 2) held_ = Held();
    if (round > 2) {
      ASSERT_TRUE(SettlesTo(held_)) << "round " << round;
    }
    if (round == kManyRounds / 2) memory_ = Memory();
  }

  void EndRounds(std::size_t stages) {
    ExpectNothingShared();
    if (memory_.empty()) return;
    for (const auto& [stage, count] : stages_) std::cout << count << " " << stage << "\n";
    EXPECT_EQ(stages_.size(), stages);
    for (const auto& [what, kib] : Memory()) {
      std::cout << what << " " << memory_[what] << " KiB, at the end " << kib << "\n";
      EXPECT_LT(kib, memory_[what] + kMayGrowKib) << what;
    }
  }

  VekSim::SimServer server_;

 private:
  static constexpr long kMayGrowKib = 8192;  // less than 1 KiB per round
  std::map<std::string, int> stages_;
  std::map<std::string, std::size_t> held_;
  std::map<std::string, long> memory_;
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
    const bool ready = std::find(lines.begin(), lines.end(), "ready") != lines.end();
    EndRound(round, end + (ready ? "after ready" : "before ready"));
  }
  EndRounds(3);
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
    const SimSeen seen = server_.Seen();
    const char* const stage = seen.requestCount != 0 ? "with requests"
                              : seen.signOns.empty() ? "before it signed on"
                                                     : "signed on";
    EndRound(round, stage);
  }
  gateway.Stop();
  EndRounds(3);
}

}  // namespace
}  // namespace vektest
