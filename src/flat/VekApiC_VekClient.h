#pragma once

#include <atomic>
#include <string>
#include <string_view>

#include "session/TTextHandler.h"
#include "vekapi/VekApiC.h"
#include "vekapi/VekClient.h"

// Answers queries about a client in its place.
class TAsOf {
 public:
  virtual VekApi::EVekClientState State() const = 0;
  virtual const VekApi::VekTaskResult& SgnResult() const = 0;
  virtual const char* ServerName() const = 0;

 protected:
  ~TAsOf() = default;
};

// The object of a CVekClient handle: a client, and the path from its events to C callbacks. Either it is its
// client's own handler, or another handler stands between them, which passes the events on later and answers
// queries for the client.
//
// An event may delete the object (except OnVekClientDestroyEvent, which is part of the deletion): no member
// is accessed after a callback.
class VekApiC_VekClient : public VekApi::TTextHandler {
 public:
  // The table is copied.
  VekApiC_VekClient(const CVekClientCallbacks& callbacks, void* user);
  // Both must live as long as the client.
  VekApiC_VekClient(const CVekClientCallbacks& callbacks, void* user, VekApi::TTextHandler& between,
                    const TAsOf& asOf);
  ~VekApiC_VekClient() override = default;
  VekApiC_VekClient(const VekApiC_VekClient&) = delete;
  VekApiC_VekClient& operator=(const VekApiC_VekClient&) = delete;

  VekApi::VekClient& Client() { return client_; }

  VekApi::EVekClientState State() const { return asOf_ ? asOf_->State() : client_.State(); }
  const VekApi::VekTaskResult& SgnResult() const { return asOf_ ? asOf_->SgnResult() : client_.SgnResult(); }
  const char* ServerName() const { return asOf_ ? asOf_->ServerName() : client_.ServerName().c_str(); }

  // True if the callback of an event is set.
  template <class Callback>
  bool Wants(Callback CVekClientCallbacks::*callback) const {
    return callbacks_.*callback != nullptr;
  }

  // For a caller about to delete the object: true for the first one. `handle` becomes null before the last
  // callback, which may free it.
  bool BeginDelete(CVekClient& handle);

  // Call the application. Texts end with NUL.
  void TellUnknownMsgCode(int msgCode, const char* packet, int length);
  void TellConnect(const char* reason);
  void TellApReady();
  void TellText(int msgCode, const char* text);

  void OnVekUnknownMsgCodeEvent(VekApi::VekClient&, int msgCode, const char* packet, int length) override {
    TellUnknownMsgCode(msgCode, packet, length);
  }
  void OnVekConnectEvent(VekApi::VekClient&, const std::string& reason) override {
    TellConnect(reason.c_str());
  }
  void OnVekApReadyEvent(VekApi::VekClient&) override { TellApReady(); }
  void OnVekTaskResultEvent(VekApi::VekClient&, const VekApi::VekTaskResult& result) override;
  void OnVekChgPassResultEvent(VekApi::VekClient&, const std::string& user,
                               const std::string& resultText) override;
  void OnText(int msgCode, std::string_view text) override { TellText(msgCode, text.data()); }
  void OnVekClientDestroyEvent(VekApi::VekClient&) override;

 private:
  template <class Callback, class... Args>
  void Raise(Callback callback, Args... args);

  // Declared first, destroyed last; its destructor raises an event that reads the members below, which have
  // no destructors.
  VekApi::VekClient client_;
  CVekClientCallbacks callbacks_{};
  void* user_ = nullptr;
  const TAsOf* asOf_ = nullptr;
  CVekClient* handle_ = nullptr;
  std::atomic<bool> deleting_{false};
};
