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

// A client that asks for a result much larger than the ring as soon as it can.
class Eager : public Recorder {
 public:
  void Connect(const std::string& setting) {
    client_.Connect(setting, "Rings", "1.2.3.4", "trader", "9800001", "secret");
  }
  void OnVekApReadyEvent(VekClient& client) override {
    std::string request = ".....W1 ticks\nrows=20000";
    client.SendVekRequest(128, request.data(), static_cast<unsigned>(request.size()));
    Recorder::OnVekApReadyEvent(client);
  }

 private:
  VekClient client_{*this};
};

// While signing on, with the ring full for the first time, and later.
TEST(OtherProcess, CrashesAfterSoManyBytesAndIsStartedAgain) {
  const SimServer server;
  Eager client;
  for (const char* const bytes : {"1", "100", "4096", "4097", "100000"}) {
    Process gate("vekgate", GateOptions(server, {"--crash-after", bytes}));
    client.Connect(gate.ReadLine());
    ASSERT_TRUE(client.WaitFor("connect -3 ")) << bytes;
    client.Take();
  }
  ExpectNothingShared();
}

}  // namespace
}  // namespace vektest
