// A handler that records events, one line each, and runs an action inside a chosen one.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "vekapi/VekClient.h"

namespace vektest {

class Recorder : public VekApi::VekClientHandler {
 public:
  Recorder() = default;
  // An event that deleted its client may still be on the stack of the link's thread: waits until it has
  // returned.
  ~Recorder() override { Settle(); }

  void Settle() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return inside_ == 0; });
  }

  // Called inside every event with its recorded line.
  std::function<void(VekApi::VekClient&, const std::string&)> onEvent;

  std::vector<std::string> Take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(lines_, {});
  }

  // Waits until a line starting with `start` has been recorded since the last Take; false after a long time.
  bool WaitFor(const std::string& start) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(60), [&] {
      return std::any_of(lines_.begin(), lines_.end(),
                         [&](const std::string& line) { return line.rfind(start, 0) == 0; });
    });
  }

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
    {
      const std::lock_guard lock(mutex_);
      ++inside_;
      lines_.push_back(line);
      changed_.notify_all();
    }
    if (onEvent) onEvent(client, line);
    const std::lock_guard lock(mutex_);
    --inside_;
    changed_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> lines_;
  int inside_ = 0;
};

}  // namespace vektest
