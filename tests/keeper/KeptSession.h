// A session over its flat functions, and its events, one line each.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "vekapi/VekSessionC.h"

namespace vektest {

inline std::string LineOf(const CVekEvent& event) {
  const std::string text(event.text, event.textLength);
  const std::string reason =
      event.reason ? std::string(": ") + CVekApi_Text(vst_Reason, event.reason, 0) : std::string();
  const std::string who = *event.workId ? event.workId : "code " + std::to_string(event.code);
  switch (event.kind) {
    case vse_State:
      return std::string(CVekApi_Text(vst_State, event.state, 0)) + reason;
    case vse_Fate:
      return who + " " + CVekApi_Text(vst_Fate, event.fate, 0) + reason;
    case vse_Late:
      return "late " + who;
    case vse_Report:
      return "report " + text;
    case vse_Gate:
      return "gate " + std::to_string(event.code);
    default:
      return "stray " + text;
  }
}

class KeptSession {
 public:
  static CVekSessionConfig Config() {
    CVekSessionConfig config;
    CVekSession_Defaults(&config, sizeof config);
    config.id1 = "trader";
    config.id2 = "9800001";
    config.seed = 7;
    return config;
  }

  explicit KeptSession(CVekSessionConfig config = Config()) {
    config.onEvent = &OnEvent;
    config.user = this;
    std::int32_t reason = -1;
    session = CVekSession_Create(&config, &reason);
    EXPECT_EQ(reason, 0);
  }
  ~KeptSession() { CVekSession_Delete(&session); }
  KeptSession(const KeptSession&) = delete;
  KeptSession& operator=(const KeptSession&) = delete;

  int Open(const std::vector<std::string>& settings, const char* password = "secret") {
    for (const std::string& setting : settings) CVekSession_AddEndpoint(&session, setting.c_str());
    CVekSession_SetPassword(&session, password);
    return CVekSession_Open(&session);
  }

  static CVekSubmit Request(int code, const char* id, const std::string& text) {
    CVekSubmit request{};
    request.size = sizeof request;
    request.code = code;
    request.mode = vsm_Hold;
    request.workId = id;
    request.text = text.data();
    request.textLength = static_cast<std::uint32_t>(text.size());
    return request;
  }
  int Submit(const CVekSubmit& request) {
    receipt = {};
    receipt.size = sizeof receipt;
    return CVekSession_Submit(&session, &request, &receipt);
  }
  // An order of two lines with that id, or a query.
  int Order(const std::string& id, std::uint32_t flags = 0, int mode = vsm_Hold, std::uint32_t holdMs = 0) {
    const std::string text = id + " new\nprod=TXF side=B qty=1 price=MKT";
    CVekSubmit request = Request(129, id.c_str(), text);
    request.flags = flags;
    request.mode = mode;
    request.holdMs = holdMs;
    return Submit(request);
  }
  int Query(const std::string& id, const std::string& text = "products") {
    return Submit(Request(128, id.c_str(), id + " " + text));
  }

  std::vector<std::string> Take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(lines_, {});
  }

  CVekSession session{};
  CVekReceipt receipt{};
  std::map<std::uint64_t, std::vector<CVekEvent>> fates;  // by ticket; the texts are no longer valid
  std::function<void(CVekSession*, const CVekEvent&)> onEvent;

 private:
  static void OnEvent(CVekSession* handle, void* user, const CVekEvent* event) {
    auto& self = *static_cast<KeptSession*>(user);
    {
      const std::lock_guard lock(self.mutex_);
      self.lines_.push_back(LineOf(*event));
      if (event->kind == vse_Fate) self.fates[event->ticket].push_back(*event);
    }
    const auto act = self.onEvent;  // may be destroyed before it returns
    if (act) act(handle, *event);
  }

  std::mutex mutex_;
  std::vector<std::string> lines_;
};

}  // namespace vektest
