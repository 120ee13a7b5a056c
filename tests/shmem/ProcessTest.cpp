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
    std::string request = ".....W1 ticks\nrows=20000";
    if (line == "ready") inside.SendVekRequest(128, request.data(), static_cast<unsigned>(request.size()));
  };
  for (const char* const bytes : {"1", "100", "4096", "4097", "100000"}) {
    Process gate("vekgate", GateOptions(server, {"--crash-after", bytes}));
    client.Connect(gate.ReadLine(), "Rings", "1.2.3.4", "trader", "9800001", "secret");
    ASSERT_TRUE(recorder.WaitFor("connect -3 ")) << bytes;
    recorder.Take();
  }
  ExpectNothingShared();
}

}  // namespace
}  // namespace vektest
