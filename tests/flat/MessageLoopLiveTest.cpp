// A loop's thread that connects, disconnects and deletes at random while a server streams at full speed.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>

#include "sim/SimGateway.h"
#include "sim/SimServer.h"
#include "vekapi/VekApiC.h"

namespace {

using VekSim::SimGateway;
using VekSim::SimServer;

// Sends numbered reports and results in turn to whoever is signed on, as fast as the link takes them.
class Stream {
 public:
  explicit Stream(SimServer& server) : thread_([this, &server] { Run(server); }) {}
  ~Stream() {
    stop_ = true;
    thread_.join();
  }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  void Pass() { passed_ += 1; }

 private:
  void Run(SimServer& server) {
    for (int number = 0; !stop_;) {
      // A number that nobody was there for is the next one's: sessions see no gap.
      const std::string text = std::to_string(number);
      const bool sent = number % 2 == 0
                            ? server.SendReport(SimServer::kAll, text)
                            : server.SendResult(SimServer::kAll, "w", "\x02T\n\x03N\n" + text + "\n");
      if (sent) ++number;
      // Not further ahead than some hundreds, so that the test is about order and not about memory.
      while (!stop_ && number > passed_ * 200 + 400) std::this_thread::yield();
    }
  }

  std::atomic<bool> stop_{false};
  std::atomic<int> passed_{0};
  std::thread thread_;
};

// What one client's callbacks see. Everything here is the loop's thread's: whatever else touches it is found.
struct Watch {
  CVekClient client{};
  std::thread::id thread = std::this_thread::get_id();
  int last = -1;  // number of the last event of this session; -1: none yet
  bool alive = true;
  bool destroyed = false;
  int inside = 0;
  int events = 0;
  int ready = 0;
  int wrongThread = 0;
  int afterDeletion = 0;
  int outOfOrder = 0;
  int lost = 0;
  std::minstd_rand random;
  const std::string* setting = nullptr;

  bool Enter() {
    ++events;
    if (std::this_thread::get_id() != thread) ++wrongThread;
    if (destroyed) ++afterDeletion;
    return !destroyed;
  }
  void Number(int number) {
    if (last >= 0 && number <= last) ++outOfOrder;
    if (last >= 0 && number > last + 1) ++lost;
    last = number;
  }
  bool Connect() {
    return CVekClient_Connect(&client, setting->c_str(), "Loop", "1.0.0.0", "trader", "9800001", "secret");
  }
  // Something that users do, one time in `rarity`. What it ends must not be gone on with.
  void Act(unsigned rarity) {
    if (!alive || random() % rarity != 0) return;
    switch (random() % 4) {
      case 0:
        CVekClient_Disconnect(&client);
        return;
      case 1:
        Connect();
        return;
      case 2:
        CVekClient_Disconnect(&client);
        Connect();
        return;
      default:
        alive = false;
        CVekClient_Delete(&client);
    }
  }
};

Watch& WatchOf(void* user) {
  return *static_cast<Watch*>(user);
}

CVekClientCallbacks Watching() {
  CVekClientCallbacks all{};
  all.OnVekConnectEvent = [](CVekClient*, void* user, const char*) {
    // Another session may have begun: its numbers start anywhere.
    if (WatchOf(user).Enter()) WatchOf(user).last = -1;
  };
  all.OnVekApReadyEvent = [](CVekClient*, void* user) {
    if (!WatchOf(user).Enter()) return;
    ++WatchOf(user).ready;
    WatchOf(user).Act(20);
  };
  all.OnVekReportEvent = [](CVekClient*, void* user, const char* text) {
    if (!WatchOf(user).Enter()) return;
    WatchOf(user).Number(std::stoi(text));
    WatchOf(user).Act(100);
  };
  all.OnVekTaskResultEvent = [](CVekClient*, void* user, const CVekTaskResult* result) {
    if (!WatchOf(user).Enter()) return;
    const CVekTable table = CVekTaskResult_IndexTable(result, 0);
    WatchOf(user).Number(std::stoi(CVekTable_RecordIndexField(&table, 0, 0)));
    WatchOf(user).Act(40);
  };
  all.OnVekClientDestroyEvent = [](CVekClient*, void* user) {
    WatchOf(user).Enter();
    WatchOf(user).destroyed = true;
  };
  return all;
}

bool LongRun() {
  return std::getenv("VEKAPI_LONG_TESTS") != nullptr;
}

class MessageLoopLive : public testing::TestWithParam<bool> {
 protected:
  // One client's life: events are waited for, then this thread acts outside of any.
  void Round(Stream& stream) {
    Watch watch;
    watch.random.seed(random_());
    watch.setting = &setting_;
    watch.client = CVekClient_Create_OnMessageLoop(&callbacks_, &watch);
    ASSERT_NE(watch.client.object, nullptr);
    ASSERT_TRUE(watch.Connect());
    const unsigned goal = random_() % 60;
    for (int idle = 0; watch.alive && static_cast<unsigned>(watch.events) < goal && idle < 20;) {
      stream.Pass();
      const bool over = CVekClient_State(&watch.client) < cvcs_Connecting;
      if (CVekMessageLoop_Dispatch(over ? 0 : 5) == 0) idle += over ? 20 : 1;
    }
    watch.Act(1);
    watch.alive = false;
    CVekClient_Delete(&watch.client);
    const int atDeletion = watch.events;
    while (CVekMessageLoop_Dispatch(0) > 0) {
    }
    EXPECT_TRUE(watch.destroyed);
    EXPECT_EQ(watch.events, atDeletion);
    EXPECT_EQ(watch.wrongThread, 0);
    EXPECT_EQ(watch.afterDeletion, 0);
    EXPECT_EQ(watch.outOfOrder, 0);
    EXPECT_EQ(watch.lost, 0);
    sessions_ += watch.ready;
    events_ += watch.events;
  }

  const CVekClientCallbacks callbacks_ = Watching();
  std::string setting_;
  std::minstd_rand random_{1};
  int sessions_ = 0;
  int events_ = 0;
};

TEST_P(MessageLoopLive, ConnectsDisconnectsAndDeletesUnderAStream) {
  SimServer server;
  SimGateway gateway({.upstreamPort = server.Port(), .ringBytes = 4096});
  setting_ = GetParam() ? gateway.Setting() : ":" + server.Setting();
  Stream stream(server);
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(LongRun() ? 3600 : 6);
  int rounds = 0;
  while (!HasFailure() && rounds < 3000 && (sessions_ < 10 || std::chrono::steady_clock::now() < until)) {
    SCOPED_TRACE("round " + std::to_string(rounds++));
    Round(stream);
  }
  RecordProperty("rounds", rounds);
  RecordProperty("sessions", sessions_);
  RecordProperty("events", events_);
  EXPECT_GE(sessions_, 10);
}

INSTANTIATE_TEST_SUITE_P(ByLink, MessageLoopLive, testing::Bool(),
                         [](const auto& link) { return link.param ? "SharedMemory" : "Tcp"; });

}  // namespace
