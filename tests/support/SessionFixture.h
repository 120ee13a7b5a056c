// A client over a TestMes, in virtual time.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/Recorder.h"
#include "support/TVirtualTimerQueue.h"
#include "support/TestMes.h"
#include "support/Wire.h"

namespace vektest {

class SessionTest : public testing::Test {
 protected:
  SessionTest() : client(std::make_unique<VekApi::VekClient>(recorder)) {}
  ~SessionTest() override { recorder.onEvent = nullptr; }

  void Connect(const std::string& kind = ":TestMes:lend") {
    client->Connect(kind, "App", "1.2", "id", "sub", "secret");
  }

  // Performs the handshake up to the connect result; the key scrambles what the server sends afterwards.
  void Link(bool big = false, int mode = 0, const std::string& sessionKey = {}) {
    Connect();
    mes = TestMes::Last();
    mes->Ready();
    key = sessionKey;
    std::vector<Item> items;
    if (mode != 0 || !key.empty()) items.push_back({"VekEnc\n", EncItem(mode, key)});
    mes->Deliver(ConnectResult(big, items));
  }
  void SignOn(bool big = false, int mode = 0, const std::string& sessionKey = {}) {
    Link(big, mode, sessionKey);
    FromServer(
        SgnResult("5\x01"
                  "1000",
                  big));
    recorder.Take();
    mes->TakeSent();
  }
  void FromServer(const std::string& packets) { mes->Deliver(Scrambled(packets, key)); }

  TestSupport::TVirtualTimerQueue time;
  Recorder recorder;
  std::unique_ptr<VekApi::VekClient> client;
  Dstl::wise_ref<TestMes> mes;
  std::string key;
};

}  // namespace vektest
