// Runtimes that end their threads by unwinding: an exiting interpreter does this to threads inside callbacks.
// The system aborts the program if a frame on the way catches the unwinding and continues.
#include <gtest/gtest.h>
#include <pthread.h>

#include <future>
#include <string>
#include <thread>

#include "sim/SimServer.h"
#include "vekapi/VekApiC.h"

namespace vektest {
namespace {

std::promise<void>* ending = nullptr;

struct Told {
  ~Told() { ending->set_value(); }
};

void EndThisThread() {
  const Told told;
  pthread_exit(nullptr);
}

// Where a client's first event arrives.
const struct {
  const char* where;
  bool onLoop;
  bool connects;
} kPlaces[] = {{"on the link's thread", false, true}, {"in a loop", true, true}, {"in a call", false, false}};

TEST(ForcedUnwind, PassesFromEveryCallback) {
  for (const auto& [where, onLoop, connects] : kPlaces) {
    SCOPED_TRACE(where);
    std::promise<void> ended;
    ending = &ended;
    CVekClientCallbacks callbacks{};
    if (connects) {
      callbacks.OnVekApReadyEvent = [](CVekClient*, void*) { EndThisThread(); };
    } else {
      callbacks.OnVekConnectEvent = [](CVekClient*, void*, const char*) { EndThisThread(); };
    }
    VekSim::SimServer server;
    const std::string setting = ":" + server.Setting();
    CVekClient client{};
    std::thread([&, loop = onLoop, connect = connects] {
      client = (loop ? CVekClient_Create_OnMessageLoop : CVekClient_Create)(&callbacks, nullptr);
      if (!connect) return CVekClient_Disconnect(&client);
      CVekClient_Connect(&client, setting.c_str(), "Exit", "1.0.0.0", "trader", "9800001", "secret");
      while (loop && CVekMessageLoop_Dispatch(-1) >= 0) continue;
    }).join();
    ended.get_future().wait();
    CVekClient_Delete(&client);
  }
}

}  // namespace
}  // namespace vektest
