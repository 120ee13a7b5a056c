// Client and gateway in different processes.
#include "OtherProcess.h"

namespace vektest {
namespace {

using VekApi::VekClient;
using VekSim::SimServer;

// During sign-on, when the ring is full for the first time, and later.
TEST(OtherProcess, CrashesAfterSoManyBytesAndIsStartedAgain) {
  const SimServer server;
  Recorder recorder;
  VekClient client(recorder);
  recorder.onEvent = [](VekClient& inside, const std::string& line) {
    if (line == "ready") Send(inside, 128, "W1 ticks\nrows=20000");
  };
  TestSupport::THeld before;
  for (const char* const bytes : {"100000", "1", "100", "4096", "4097"}) {
    {
      Process gate("vekgate", GateOptions(server, {"--crash-after", bytes}));
      Connect(client, gate.ReadLine());
      ASSERT_TRUE(recorder.WaitFor("connect -3 ")) << bytes;
      recorder.Take();
    }
    if (before.empty()) before = Held();
    EXPECT_TRUE(SettlesTo(before)) << bytes;
  }
  ExpectNothingShared();
}

}  // namespace
}  // namespace vektest
