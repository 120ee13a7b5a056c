// A handler that records events, one line each, and runs an action inside a chosen one.
#pragma once

#include <functional>
#include <string>

#include "support/LineLog.h"
#include "vekapi/VekClient.h"

namespace vektest {

class Recorder : public VekApi::VekClientHandler, public LineLog {
 public:
  Recorder() = default;
  // An event that deleted its client may still be on the stack of the link's thread: waits until it has
  // returned.
  ~Recorder() override { Settle(); }

  // Called inside every event with its recorded line.
  std::function<void(VekApi::VekClient&, const std::string&)> onEvent;

  void OnVekConnectEvent(VekApi::VekClient& client, const std::string& reason) override {
    Note(client, "connect " + std::to_string(client.State()) + " " + reason);
  }
  void OnVekApReadyEvent(VekApi::VekClient& client) override { Note(client, "ready"); }
  void OnVekTaskResultEvent(VekApi::VekClient& client, const VekApi::VekTaskResult& result) override {
    Note(client, "result " + result.WorkID() + " " + result.OrigResult());
  }
  void OnVekChgPassResultEvent(VekApi::VekClient& client, const std::string& user,
                               const std::string& text) override {
    Note(client, "chgpass " + user + " " + text);
  }
  void OnVekRequestAckEvent(VekApi::VekClient& client, int code, const std::string& text) override {
    Note(client, "ack " + std::to_string(code) + " " + text);
  }
  void OnVekReportEvent(VekApi::VekClient& client, const std::string& text) override {
    Note(client, "report " + text);
  }
  void OnVekClientDestroyEvent(VekApi::VekClient& client) override { Note(client, "destroy"); }

 private:
  void OnVekUnknownMsgCodeEvent(VekApi::VekClient& client, int code, const char* packet,
                                int length) override {
    Note(client,
         "unknown " + std::to_string(code) + " " + std::string(packet, static_cast<std::size_t>(length)));
  }

  void Note(VekApi::VekClient& client, const std::string& line) {
    LineLog::Note(line, [&] {
      if (onEvent) onEvent(client, line);
    });
  }
};

}  // namespace vektest
