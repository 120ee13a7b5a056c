#pragma once

#include <atomic>
#include <string>

#include "vekapi/VekApiC.h"
#include "vekapi/VekClient.h"

// What a CVekClient handle points to: a client that is its own handler and passes its events on to plain
// functions.
//
// An event may delete the object (but not OnVekClientDestroyEvent, which comes from the deletion): nothing in
// here is touched after a callback.
class VekApiC_VekClient : public VekApi::VekClientHandler {
 public:
  // The table is copied.
  VekApiC_VekClient(const CVekClientCallbacks& callbacks, void* user);
  ~VekApiC_VekClient() override = default;
  VekApiC_VekClient(const VekApiC_VekClient&) = delete;
  VekApiC_VekClient& operator=(const VekApiC_VekClient&) = delete;

  VekApi::VekClient& Client() { return client_; }

  // For whoever means to delete the object: true for the first who asks.
  bool BeginDelete() { return !deleting_.exchange(true); }

 private:
  void OnVekUnknownMsgCodeEvent(VekApi::VekClient&, int msgCode, const char* packet, int length) override;
  void OnVekConnectEvent(VekApi::VekClient&, const std::string& reason) override;
  void OnVekApReadyEvent(VekApi::VekClient&) override;
  void OnVekTaskResultEvent(VekApi::VekClient&, const VekApi::VekTaskResult& result) override;
  void OnVekChgPassResultEvent(VekApi::VekClient&, const std::string& user,
                               const std::string& resultText) override;
  void OnVekRequestAckEvent(VekApi::VekClient&, int msgCode, const std::string& ackText) override;
  void OnVekReportEvent(VekApi::VekClient&, const std::string& reportText) override;
  void OnVekClientDestroyEvent(VekApi::VekClient&) override;

  template <class Callback, class... Args>
  void Raise(Callback callback, Args... args) noexcept;

  // Destroyed last; its destructor raises an event that reads what stands below. That has no destructor.
  VekApi::VekClient client_;
  CVekClientCallbacks callbacks_;
  void* user_;
  std::atomic<bool> deleting_{false};
};
