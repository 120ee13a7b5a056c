#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "vekapi/VekClient.h"
#include "vekapi/VekFlowCtrl.h"
#include "vekapi/VekTaskResult.h"

// What the events of a session have delivered so far.
struct SessionSeen {
  VekApi::EVekClientState state = VekApi::vcs_None;
  std::optional<VekApi::VekTaskResult> signOn;
  std::map<std::string, VekApi::VekTaskResult> results;  // by work id
  std::vector<std::string> acks;                         // lines of acknowledgements of code 129
  std::vector<std::size_t> ackLines;                     // number of lines in each
  std::vector<std::string> reports;
  std::optional<std::string> passwordResult;
};

// Prints the events as they arrive and stores their data, so that the program's own thread can wait for it.
// Events run on the library's threads; all methods here are thread-safe.
class SessionEvents : public VekApi::VekClientHandler {
 public:
  // Waits until `done`, a function of the stored data, returns true. Returns false after `limit`, or at once
  // if the session fails before.
  template <class Done>
  bool Wait(std::chrono::milliseconds limit, Done done) {
    std::unique_lock lock(mutex_);
    bool reached = false;
    changed_.wait_for(lock, limit, [&] { return (reached = done(seen_)) || Failed(); });
    return reached;
  }

  // From now on acknowledgements are passed to `gate`, which is not owned.
  void FeedGate(VekApi::VekFlowCtrl& gate) { gate_ = &gate; }

  // A copy of the stored data.
  SessionSeen Seen();

  // Clears the stored data before a new session.
  void Forget();

  void OnVekConnectEvent(VekApi::VekClient& client, const std::string& reason) override;
  void OnVekApReadyEvent(VekApi::VekClient& client) override;
  void OnVekTaskResultEvent(VekApi::VekClient& client, const VekApi::VekTaskResult& result) override;
  void OnVekChgPassResultEvent(VekApi::VekClient& client, const std::string& user,
                               const std::string& resultText) override;
  void OnVekRequestAckEvent(VekApi::VekClient& client, int msgCode, const std::string& ackText) override;
  void OnVekReportEvent(VekApi::VekClient& client, const std::string& reportText) override;
  void OnVekClientDestroyEvent(VekApi::VekClient& client) override;

 private:
  bool Failed() const { return seen_.state < 0; }

  template <class Change>
  void Update(Change change) {
    {
      const std::lock_guard lock(mutex_);
      change(seen_);
    }
    changed_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  SessionSeen seen_;
  VekApi::VekFlowCtrl* gate_ = nullptr;
};
