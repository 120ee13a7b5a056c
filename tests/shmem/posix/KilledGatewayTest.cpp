// A gateway that is killed at any moment. Only where the system closes what a killed process had open
// whatever it was doing: Wine keeps sockets of a process that was killed in the middle of a receive, and its
// server then never sleeps again.
#include "shmem/OtherProcess.h"

namespace vektest {
namespace {

TEST(KilledGateway, InTheMiddleOfAResultAndBehindIt) {
  const VekSim::SimServer server;
  Recorder recorder;
  VekApi::VekClient client(recorder);
  for (int round = 0; round < 10; ++round) {
    Process gate("vekgate", GateOptions(server));
    client.Connect(gate.ReadLine(), "Rings", "1.2.3.4", "trader", "9800001", "secret");
    ASSERT_TRUE(recorder.WaitFor("ready"));
    std::string request = ".....W1 ticks\nrows=50000";
    ASSERT_TRUE(client.SendVekRequest(128, request.data(), static_cast<unsigned>(request.size())));
    if (round % 2 == 1) {
      ASSERT_TRUE(recorder.WaitFor("result W1 "));
    }
    gate.Kill();
    ASSERT_TRUE(recorder.WaitFor("connect -3 "));
    recorder.Take();
  }
  ExpectNothingShared();
}

}  // namespace
}  // namespace vektest
