#pragma once

#include <atomic>
#include <string>

#include "vekapi/VekApiC.h"
#include "vekapi/VekClient.h"

// Answers what a client is asked, in place of the client.
class TAsOf {
 public:
  virtual VekApi::EVekClientState State() const = 0;
  virtual const VekApi::VekTaskResult& SgnResult() const = 0;
  virtual const char* ServerName() const = 0;

 protected:
  ~TAsOf() = default;
};

// What a CVekClient handle points to: a client and the way from its events to plain functions. It is its own
// client's handler; or somebody stands between, who hands the events on when their time has come, and answers
// for the client.
//
// An event may delete the object (but not OnVekClientDestroyEvent, which comes from the deletion): nothing in
// here is touched after a callback.
class VekApiC_VekClient : public VekApi::VekClientHandler {
 public:
  // The table is copied.
  VekApiC_VekClient(const CVekClientCallbacks& callbacks, void* user);
  // Both live as long as the client.
  VekApiC_VekClient(const CVekClientCallbacks& callbacks, void* user, VekApi::VekClientHandler& between,
                    const TAsOf& asOf);
  ~VekApiC_VekClient() override = default;
  VekApiC_VekClient(const VekApiC_VekClient&) = delete;
  VekApiC_VekClient& operator=(const VekApiC_VekClient&) = delete;

  VekApi::VekClient& Client() { return client_; }

  VekApi::EVekClientState State() const { return asOf_ ? asOf_->State() : client_.State(); }
  const VekApi::VekTaskResult& SgnResult() const { return asOf_ ? asOf_->SgnResult() : client_.SgnResult(); }
  const char* ServerName() const { return asOf_ ? asOf_->ServerName() : client_.ServerName().c_str(); }

  // Whether there is a function for an event.
  template <class Callback>
  bool Wants(Callback CVekClientCallbacks::*callback) const {
    return callbacks_.*callback != nullptr;
  }

  // For whoever means to delete the object: true for the first who asks. `handle` becomes null before the
  // last callback, which may free it.
  bool BeginDelete(CVekClient& handle);

  void OnVekUnknownMsgCodeEvent(VekApi::VekClient&, int msgCode, const char* packet, int length) override;
  void OnVekConnectEvent(VekApi::VekClient&, const std::string& reason) override;
  void OnVekApReadyEvent(VekApi::VekClient&) override;
  void OnVekTaskResultEvent(VekApi::VekClient&, const VekApi::VekTaskResult& result) override;
  void OnVekChgPassResultEvent(VekApi::VekClient&, const std::string& user,
                               const std::string& resultText) override;
  void OnVekRequestAckEvent(VekApi::VekClient&, int msgCode, const std::string& ackText) override;
  void OnVekReportEvent(VekApi::VekClient&, const std::string& reportText) override;
  void OnVekClientDestroyEvent(VekApi::VekClient&) override;

 private:
  template <class Callback, class... Args>
  void Raise(Callback callback, Args... args);

  // Destroyed last; its destructor raises an event that reads what stands below. That has no destructor.
  VekApi::VekClient client_;
  CVekClientCallbacks callbacks_{};
  void* user_ = nullptr;
  const TAsOf* asOf_ = nullptr;
  CVekClient* handle_ = nullptr;
  std::atomic<bool> deleting_{false};
};
