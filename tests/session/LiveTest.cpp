// Complete sessions over real TCP against the simulated server, with the library's own threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "sim/SimServer.h"
#include "support/Recorder.h"
#include "support/SimSession.h"
#include "support/TcpPeer.h"
#include "support/WholeSession.h"

namespace vektest {
namespace {

using VekApi::VekClient;
using VekSim::SimConfig;
using VekSim::SimSeen;
using VekSim::SimServer;

// Time limits far above a healthy run, but below a hang.
class Stopwatch {
 public:
  double Seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

struct WholeCase {
  VekSim::ByteOrder order;
  int mode;
  std::size_t keyLength;
  std::size_t split;
};

class OverTcp : public testing::TestWithParam<WholeCase> {};

TEST_P(OverTcp, WholeSession) {
  SimConfig config;
  config.order = GetParam().order;
  config.mode = GetParam().mode;
  for (std::size_t i = 0; i < GetParam().keyLength; ++i) config.key += static_cast<char>(i * 7 + 130);
  config.link.split = GetParam().split;
  config.requestRate = WholeSession::kRequestRate;
  SimServer server(config);
  WholeSession(server, Setting(server), GetParam().split == 0 ? 200'000 : 20'000).Run();
}

INSTANTIATE_TEST_SUITE_P(ByWire, OverTcp,
                         testing::Values(WholeCase{VekSim::ByteOrder::Little, 0, 0, 0},
                                         WholeCase{VekSim::ByteOrder::Big, 1, 7, 0},
                                         WholeCase{VekSim::ByteOrder::Little, 1, 255, 1},
                                         WholeCase{VekSim::ByteOrder::Big, 2, 1, 3},
                                         WholeCase{VekSim::ByteOrder::Big, -1, 16, 0}));

TEST(Live, LinksThatCannotBeMade) {
  std::uint16_t closedPort = 0;
  {
    const SimServer server;
    closedPort = server.Port();
  }
  Recorder recorder;
  VekClient client(recorder);
  for (const std::string& setting :
       {"127.0.0.1:" + std::to_string(closedPort), std::string("no.such.host.invalid:1")}) {
    Connect(client, setting);
    ASSERT_TRUE(recorder.WaitFor("connect -2 ")) << setting;
    const std::string line = recorder.Take().back();
    EXPECT_NE(line.find(setting), std::string::npos) << "the reason names the address: " << line;
    EXPECT_GT(line.size(), setting.size() + 15) << "and says more than that: " << line;
  }
}

TEST(Live, StalledServerBacksUpAndLosesNothing) {
  SimConfig config;
  config.link.stall = false;
  config.autoAck = false;
  SimServer server(config);
  Recorder recorder;
  VekClient client(recorder);
  Connect(client, ":TCPClient:" + Setting(server) + " n M0 sq=200000");
  ASSERT_TRUE(recorder.WaitFor("ready"));
  server.SetLink(1, VekSim::LinkFaults{.stall = true});

  std::string expected;
  int accepted = 0;
  for (;; ++accepted) {
    std::string text = std::to_string(accepted) + " ";
    text.resize(9000, 'x');
    if (!Send(client, 150, text)) break;
    expected += text;
    ASSERT_LT(accepted, 10'000) << "nothing bounds the queue";
  }
  server.SetLink(1, {});
  ASSERT_TRUE(server.WaitFor([&](const SimSeen& seen) {
    return std::count_if(seen.packets.begin(), seen.packets.end(),
                         [](const auto& p) { return p.code == 150; }) == accepted;
  }));
  std::string received;
  for (const auto& packet : server.Seen().packets) {
    if (packet.code == 3 || packet.code == 150) received += packet.body.substr(2);
  }
  EXPECT_TRUE(received == expected);
  EXPECT_TRUE(Send(client, 150, "room again"));
}

TEST(Live, DisconnectWhileSendsWaitDoesNotHang) {
  SimServer server;
  Recorder recorder;
  for (int round = 0; round < 10; ++round) {
    VekClient client(recorder);
    Connect(client, Setting(server));
    ASSERT_TRUE(recorder.WaitFor("ready"));
    recorder.Take();
    server.SetLink(round + 1, VekSim::LinkFaults{.stall = true});
    while (Send(client, 150, std::string(100'000, 'x'))) {
    }
    const Stopwatch watch;
    if (round % 2 == 0) client.Disconnect();
    EXPECT_LT(watch.Seconds(), 5);
  }
}

TEST(Live, SlowHandlerDoesNotDelayAnotherClient) {
  SimServer server;
  Recorder slow;
  Recorder quick;
  std::mutex gate;
  std::unique_lock closed(gate);
  slow.onEvent = [&](VekClient&, const std::string& line) {
    if (line == "ready") const std::lock_guard wait(gate);
  };
  VekClient first(slow);
  VekClient second(quick);
  Connect(first, Setting(server));
  ASSERT_TRUE(slow.WaitFor("ready"));
  Connect(second, Setting(server));
  EXPECT_TRUE(quick.WaitFor("ready"));
  closed.unlock();
}

// Ends the process while clients are connecting, connected, and being destroyed. Some static objects are
// never destroyed and do not count as leaks.
[[noreturn]] void ExitWithLiveClients() {
  static SimServer server;
  static auto& recorder = *new Recorder;
  static const auto& full = *new TestSupport::TFullListener;
  static const auto& silent = *new TestSupport::TTcpPeer;
  static auto& clients = *new std::vector<VekClient*>;
  for (const std::string& setting : {Setting(silent), Setting(full), Setting(silent)}) {
    clients.push_back(new VekClient(recorder));
    Connect(*clients.back(), setting);
  }
  static VekClient dying(recorder);  // destroyed before the server
  Connect(dying, Setting(server));
  if (!recorder.WaitFor("ready")) std::abort();
  const Stopwatch watch;
  static const Stopwatch* exitWatch = &watch;
  std::atexit([] {
    if (exitWatch->Seconds() > 10) std::_Exit(3);
  });
  std::exit(0);
}

TEST(LiveDeathTest, ProcessEndsWithLiveClients) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const Stopwatch watch;
  EXPECT_EXIT(ExitWithLiveClients(), testing::ExitedWithCode(0), "");
  EXPECT_LT(watch.Seconds(), 30);
}

}  // namespace
}  // namespace vektest
