// Flat clients over real TCP, with the library's own threads.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

#include "sim/SimServer.h"
#include "vekapi/VekApiC.h"

namespace {

// Counts events, and lets a test wait for a number of them. What the callbacks use outlives them: a callback
// that deleted its client may still be returning when the test goes on.
struct Counter {
  void Add() {
    const std::lock_guard lock(mutex);
    ++count;
    changed.notify_all();
  }
  bool Reaches(int number) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, std::chrono::seconds(60), [&] { return count >= number; });
  }

  std::mutex mutex;
  std::condition_variable changed;
  int count = 0;
};

bool Connect(CVekClient& client, const VekSim::SimServer& server) {
  const std::string setting = "127.0.0.1:" + std::to_string(server.Port());
  return CVekClient_Connect(&client, setting.c_str(), "Live", "1.2.3.4", "trader", "9800001", "secret");
}

TEST(FlatLive, ClientsDeleteThemselvesOnTheLinksThread) {
  static Counter destroyed;
  CVekClientCallbacks callbacks{};
  callbacks.OnVekApReadyEvent = [](CVekClient* client, void*) { CVekClient_Delete(client); };
  callbacks.OnVekClientDestroyEvent = [](CVekClient*, void*) { destroyed.Add(); };
  VekSim::SimServer server{VekSim::SimConfig{}};
  constexpr int kClients = 20;
  for (int i = 0; i < kClients; ++i) {
    CVekClient client = CVekClient_Create(&callbacks, nullptr);
    ASSERT_TRUE(Connect(client, server));
  }
  EXPECT_TRUE(destroyed.Reaches(kClients));
}

TEST(FlatLive, NoCallbackComesAfterDelete) {
  static Counter ready;
  static Counter reports;
  static std::atomic<bool> deleted{false};
  static std::atomic<bool> late{false};
  CVekClientCallbacks callbacks{};
  callbacks.OnVekApReadyEvent = [](CVekClient*, void*) { ready.Add(); };
  callbacks.OnVekReportEvent = [](CVekClient*, void*, const char*) {
    if (deleted) late = true;
    reports.Add();
  };
  VekSim::SimServer server{VekSim::SimConfig{}};
  CVekClient client = CVekClient_Create(&callbacks, nullptr);
  ASSERT_TRUE(Connect(client, server));
  ASSERT_TRUE(ready.Reaches(1));
  for (int i = 0; i < 200; ++i) server.SendReport(1, "report");
  ASSERT_TRUE(reports.Reaches(1));
  CVekClient_Delete(&client);
  deleted = true;
  server.Stop();
  EXPECT_FALSE(late);
}

}  // namespace
