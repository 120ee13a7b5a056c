// A client of the flat functions over a TestMes, in virtual time, whose callbacks record their arguments.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>

#include "support/SessionFixture.h"
#include "vekapi/VekApiC.h"

namespace vektest {

class FlatSession : public testing::Test {
 protected:
  ~FlatSession() override {
    onEvent = nullptr;
    CVekClient_Delete(&client);
  }

  // All callbacks, each with this fixture as its user pointer.
  static CVekClientCallbacks Recording() {
    CVekClientCallbacks all{};
    all.OnVekUnknownMsgCodeEvent = [](CVekClient* h, void* user, int code, const char* packet, int length) {
      Note(h, user,
           "unknown " + std::to_string(code) + " " + std::string(packet, static_cast<std::size_t>(length)));
    };
    all.OnVekConnectEvent = [](CVekClient* h, void* user, const char* reason) {
      Note(h, user, "connect " + std::to_string(CVekClient_State(h)) + " " + reason);
    };
    all.OnVekApReadyEvent = [](CVekClient* h, void* user) { Note(h, user, "ready"); };
    all.OnVekTaskResultEvent = [](CVekClient* h, void* user, const CVekTaskResult* result) {
      Note(h, user, std::string("result ") + CVekTaskResult_WorkID(result));
    };
    all.OnVekChgPassResultEvent = [](CVekClient* h, void* user, const char* userId, const char* text) {
      Note(h, user, std::string("chgpass ") + userId + " " + text);
    };
    all.OnVekRequestAckEvent = [](CVekClient* h, void* user, int code, const char* text) {
      Note(h, user, "ack " + std::to_string(code) + " " + text);
    };
    all.OnVekReportEvent = [](CVekClient* h, void* user, const char* text) {
      Note(h, user, std::string("report ") + text);
    };
    all.OnVekClientDestroyEvent = [](CVekClient* h, void* user) { Note(h, user, "destroy"); };
    return all;
  }

  void Create(const CVekClientCallbacks& callbacks = Recording()) {
    client = CVekClient_Create(&callbacks, this);
  }
  bool Connect(const char* setting = ":TestMes:lend", const char* password = "secret") {
    const bool begun = CVekClient_Connect(&client, setting, "App", "1.2", "id", "sub", password);
    mes = TestMes::Last();
    return begun;
  }
  void Link(const char* setting = ":TestMes:lend") {
    Connect(setting);
    mes->Ready();
    mes->Deliver(ConnectResult(false, {}));
  }
  void SignOn() {
    Link();
    mes->Deliver(SgnResult());
  }
  Lines Take() { return std::exchange(lines, {}); }

  TestSupport::TVirtualTimerQueue time;
  CVekClient client{};
  Dstl::wise_ref<TestMes> mes;
  Lines lines;
  std::function<void(CVekClient*, const std::string&)> onEvent;  // called inside every event with its line

 private:
  static void Note(CVekClient* handle, void* user, const std::string& line) {
    auto& self = *static_cast<FlatSession*>(user);
    self.lines.push_back(line);
    if (self.onEvent) self.onEvent(handle, line);
  }
};

}  // namespace vektest
