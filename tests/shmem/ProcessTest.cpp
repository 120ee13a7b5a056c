// Client and gateway in different processes.
#include "ShMemFixture.h"
#include "sim/SimServer.h"

namespace vektest {
namespace {

using VekApi::VekClient;
using VekSim::SimServer;

std::vector<std::string> GateOptions(const SimServer& server, const std::string& port,
                                     const std::string& ring) {
  return {"--quiet", "--port",    port,     "--upstream", "127.0.0.1:" + std::to_string(server.Port()),
          "--name",  FreshName(), "--ring", ring};
}

void Connect(VekClient& client, const std::string& setting) {
  client.Connect(setting, "Rings", "1.2.3.4", "trader", "9800001", "secret");
}

bool Send(VekClient& client, const std::string& text) {
  std::string request = "....." + text;
  return client.SendVekRequest(128, request.data(), static_cast<unsigned>(request.size()));
}

TEST(OtherProcess, WholeSessionThroughIt) {
  const SimServer server;
  Process gate("vekgate", GateOptions(server, "0", "4096"));
  const std::string setting = gate.ReadLine();
  ASSERT_EQ(setting.rfind(":ShMemCli:TCPClient:127.0.0.1:", 0), 0u) << setting;
  Recorder recorder;
  VekClient client(recorder);
  Connect(client, setting);
  ASSERT_TRUE(recorder.WaitFor("ready"));
  ASSERT_TRUE(Send(client, "W1 ticks\nrows=20000"));
  ASSERT_TRUE(recorder.WaitFor("result W1 "));
}

TEST(OtherProcess, KilledAndStartedAgain) {
  const SimServer server;
  Recorder recorder;
  VekClient client(recorder);
  const auto before = Held();
  for (int round = 0; round < 5; ++round) {
    Process gate("vekgate", GateOptions(server, "0", "4096"));
    Connect(client, gate.ReadLine());
    ASSERT_TRUE(recorder.WaitFor("ready"));
    // In the middle of a result that is much larger than the ring.
    ASSERT_TRUE(Send(client, "W1 ticks\nrows=500000"));
    gate.Kill();
    ASSERT_TRUE(recorder.WaitFor("connect -3 "));
    recorder.Take();
  }
  const auto shared = Held();
  EXPECT_EQ(shared.count("shared memory"), 0u) << "the one that is left takes the names away";
  EXPECT_EQ(shared.count("views"), 0u);
}

}  // namespace
}  // namespace vektest
