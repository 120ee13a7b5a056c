// Complete sessions over real TCP against the simulated server, with the library's own threads.
#include <gtest/gtest.h>

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
