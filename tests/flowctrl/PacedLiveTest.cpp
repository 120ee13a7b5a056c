// Senders over real TCP against the simulated server, which counts rate violations.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "sim/SimServer.h"
#include "support/Recorder.h"
#include "support/SimSession.h"
#include "vekapi/VekFlowCtrlSender.h"

namespace vektest {
namespace {

using VekApi::VekClient;
using VekApi::VekFlowCtrlLocker;
using VekApi::VekFlowCtrlSender;
using VekSim::SimConfig;
using VekSim::SimSeen;
using VekSim::SimServer;

std::string Order(int number) {
  return "w" + std::to_string(number) + " new\nprod=TXF side=B qty=1 price=100";
}

// A session that passes acknowledgements to its sender.
class Paced : public Recorder {
 public:
  explicit Paced(const SimServer& server) : setting_(Setting(server)) {}

  bool Connect() {
    Take();
    vektest::Connect(client, setting_);
    return WaitFor("ready");
  }
  void OnVekRequestAckEvent(VekClient&, int code, const std::string& text) override {
    sender.VekAckParser(code, text);
  }
  void OnVekReportEvent(VekClient&, const std::string&) override {}

  VekClient client{*this};
  VekFlowCtrlSender sender{client};

 private:
  const std::string setting_;
};

// The order numbers received, in arrival order.
std::vector<int> Arrived(const SimServer& server) {
  std::vector<int> numbers;
  for (const auto& request : server.Seen().requests) numbers.push_back(std::stoi(request.workId.substr(1)));
  return numbers;
}

std::vector<int> UpTo(int end) {
  std::vector<int> numbers;
  for (int i = 0; i < end; ++i) numbers.push_back(i);
  return numbers;
}

struct LinkCase {
  int count;
  int ms;
  int delayMs;
  std::size_t split;
  int mode;
};

class PacedLink : public testing::TestWithParam<LinkCase> {};

TEST_P(PacedLink, KeepsTheRateAndLosesNothing) {
  constexpr int kOrders = 300;
  SimConfig config;
  config.requestRate = {GetParam().count, GetParam().ms};
  config.link.delayMs = GetParam().delayMs;
  config.link.split = GetParam().split;
  config.mode = GetParam().mode;
  config.key = "key";
  SimServer server(config);
  Paced paced(server);
  ASSERT_TRUE(paced.Connect());
  paced.sender.SetFlowCtrl(GetParam().count, GetParam().ms);
  int next = 0;
  while (next < kOrders) {  // alternately by each of the three calls
    std::string one = "....." + Order(next++);
    paced.sender.SendVekRequest(one.data(), static_cast<unsigned>(one.size()));
    paced.sender.SendVekRequests({Order(next), Order(next + 1)});
    std::string text = "....." + Order(next + 2) + "\n" + Order(next + 3);
    paced.sender.SendVekRequests(text.data(), static_cast<unsigned>(text.size()));
    next += 4;
  }
  ASSERT_TRUE(server.WaitFor([&](const SimSeen& seen) { return seen.requestCount == kOrders; },
                             std::chrono::seconds(60)));
  EXPECT_EQ(Arrived(server), UpTo(kOrders));
  EXPECT_EQ(server.Seen().requestViolations, 0U);
  EXPECT_EQ(paced.sender.PendingCount(), 0U);
  // Far more than were sent singly: held requests are sent in batches.
  if (GetParam().count > 10) {
    EXPECT_LT(server.Seen().batches, std::size_t{kOrders});
  }
}

// 200 orders have more than 4090 bytes, in requests and in acknowledgements.
INSTANTIATE_TEST_SUITE_P(Links, PacedLink,
                         testing::Values(LinkCase{200, 50, 0, 0, 0}, LinkCase{7, 3, 0, 0, 1},
                                         LinkCase{50, 20, 5, 0, 1}, LinkCase{100, 10, 0, 97, 0}));

// Senders on several threads, one of them under the user lock; acknowledgements on the link's thread and
// false ones on another; free events from the timer; a session that connects and disconnects. Must not hang.
TEST(Paced, EverybodyAtOnce) {
  SimConfig config;
  config.keepPackets = false;
  SimServer server(config);
  Paced paced(server);
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  const auto run = [&](auto act) {
    threads.emplace_back([&stop, act] {
      for (int i = 0; !stop; ++i) act(i);
    });
  };
  const auto sendOne = [&paced](int i) {
    std::string one = "....." + Order(i);
    paced.sender.SendVekRequest(one.data(), static_cast<unsigned>(one.size()));
  };
  run([&](int i) {
    if (paced.sender.PendingCount() < 1000) sendOne(i);
    std::this_thread::yield();
  });
  run([&](int i) {
    const VekFlowCtrlLocker lock(paced.sender);
    if (paced.sender.PendingCount() < 1000) paced.sender.SendVekRequests({Order(i), Order(i)});
    if (paced.sender.CheckFlowCtrl() != 0) paced.sender.StartCheckTimer();
  });
  run([&](int i) {
    paced.sender.SetAckTime(1);
    if (i % 100 == 0) paced.sender.SetFlowCtrl(1 + i / 100 % 20, 1 + i / 100 % 2);
    std::this_thread::yield();
  });
  for (int round = 0; round < 20; ++round) {
    ASSERT_TRUE(paced.Connect());
    const std::size_t before = server.Seen().requestCount;
    EXPECT_TRUE(server.WaitFor([&](const SimSeen& seen) { return seen.requestCount > before; }));
    paced.client.Disconnect();
  }
  stop = true;
  for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace vektest
