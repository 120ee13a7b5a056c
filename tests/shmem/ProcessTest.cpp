// Client and gateway in different processes.
#include "OtherProcess.h"
#include "support/WholeSession.h"

namespace vektest {
namespace {

using VekApi::VekClient;
using VekSim::SimConfig;
using VekSim::SimServer;

TEST(OtherProcess, WholeSession) {
  SimConfig config;
  config.mode = 1;
  config.key = "0123456789";
  config.requestRate = WholeSession::kRequestRate;
  SimServer server(config);
  Process gate("vekgate", GateOptions(server));
  const std::string setting = gate.ReadLine();
  ASSERT_EQ(setting.rfind(":ShMemCli:TCPClient:127.0.0.1:", 0), 0u) << setting;
  WholeSession(server, setting, 200'000).Run();
}

// During sign-on, when the ring is full for the first time, and later.
TEST(OtherProcess, CrashesAfterSoManyBytesAndIsStartedAgain) {
  const SimServer server;
  Recorder recorder;
  VekClient client(recorder);
  recorder.onEvent = [](VekClient& inside, const std::string& line) {
    if (line == "ready") Send(inside, 128, "W1 ticks\nrows=20000");
  };
  for (const char* const bytes : {"1", "100", "4096", "4097", "100000"}) {
    Process gate("vekgate", GateOptions(server, {"--crash-after", bytes}));
    Connect(client, gate.ReadLine());
    ASSERT_TRUE(recorder.WaitFor("connect -3 ")) << bytes;
    recorder.Take();
  }
  ExpectNothingShared();
}

}  // namespace
}  // namespace vektest
