// A plug-in that owns a client while loaded.
#include <cstdio>

#include "vekapi/VekApiC.h"

#ifdef _WIN32
#define PLUGIN_EXPORT extern "C" __declspec(dllexport)
#else
#define PLUGIN_EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace {

struct TLiveClient {
  CVekClient client;

  TLiveClient() {
    CVekClientCallbacks callbacks{};
    client = CVekClient_Create(&callbacks, nullptr);
  }
  ~TLiveClient() { CVekClient_Delete(&client); }
  TLiveClient(const TLiveClient&) = delete;
  TLiveClient& operator=(const TLiveClient&) = delete;
} live;

}  // namespace

// Connects to a local port.
PLUGIN_EXPORT void Plugin_Connect(int port) {
  char setting[64];
  std::snprintf(setting, sizeof setting, "127.0.0.1:%d", port);
  CVekClient_Connect(&live.client, setting, "plugin", "1.0.0.0", "id1", "id2", "password");
}
