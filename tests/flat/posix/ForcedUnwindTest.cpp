// Runtimes that end their threads by unwinding: an exiting interpreter does this to threads inside callbacks.
// The system aborts the program if a frame on the way catches the unwinding and continues.
#include <gtest/gtest.h>
#include <pthread.h>

#include <future>
#include <string>
#include <thread>

#include "sim/SimServer.h"
#include "vekapi/VekApiC.h"

namespace {

std::promise<void>* ending = nullptr;

struct Told {
  ~Told() { ending->set_value(); }
};

void EndThisThread() {
  const Told told;
  pthread_exit(nullptr);
}

bool Connect(CVekClient& client, const VekSim::SimServer& server) {
  const std::string setting = ":" + server.Setting();
  return CVekClient_Connect(&client, setting.c_str(), "Exit", "1.0.0.0", "trader", "9800001", "secret");
}

TEST(ForcedUnwind, PassesFromACallbackOnTheLinksThread) {
  std::promise<void> ended;
  ending = &ended;
  CVekClientCallbacks callbacks{};
  callbacks.OnVekApReadyEvent = [](CVekClient*, void*) { EndThisThread(); };
  VekSim::SimServer server;
  CVekClient client = CVekClient_Create(&callbacks, nullptr);
  ASSERT_TRUE(Connect(client, server));
  ended.get_future().wait();
  CVekClient_Delete(&client);
}

TEST(ForcedUnwind, PassesFromACallbackInsideALoop) {
  std::promise<void> ended;
  ending = &ended;
  CVekClientCallbacks callbacks{};
  callbacks.OnVekApReadyEvent = [](CVekClient*, void*) { EndThisThread(); };
  VekSim::SimServer server;
  CVekClient client{};
  std::thread([&] {
    client = CVekClient_Create_OnMessageLoop(&callbacks, nullptr);
    ASSERT_TRUE(Connect(client, server));
    while (CVekMessageLoop_Dispatch(-1) >= 0) continue;
  }).join();
  ended.get_future().wait();
  CVekClient_Delete(&client);
}

TEST(ForcedUnwind, PassesFromACallbackInsideACall) {
  std::promise<void> ended;
  ending = &ended;
  CVekClientCallbacks callbacks{};
  callbacks.OnVekConnectEvent = [](CVekClient*, void*, const char*) { EndThisThread(); };
  CVekClient client = CVekClient_Create(&callbacks, nullptr);
  std::thread([&] { CVekClient_Disconnect(&client); }).join();
  ended.get_future().wait();
  CVekClient_Delete(&client);
}

}  // namespace
