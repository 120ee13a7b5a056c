#ifndef VEKAPI_VEKCLIENTHANDLER_H
#define VEKAPI_VEKCLIENTHANDLER_H

#include <string>

#include "vekapi/VekExport.h"

namespace VekApi {

class VekClient;
class VekTaskResult;

// What happens to a client, as calls on an object of the application's. Derive from it, give it to a
// VekClient, and keep it alive until that client is destroyed.
//
// Threads: events of one client never overlap and come in the order of the wire. They run on the link's own
// thread, on the timer thread (heartbeat), or inside Connect and Disconnect on the caller's thread. A handler
// that serves several clients is called by several threads at once.
//
// Inside any event the application may call anything on that client: send, Connect, Disconnect, change the
// password, delete it. After Disconnect, Connect or the destructor has returned, no event of the earlier link
// is running or will come, unless that call was made from inside one. An event must not throw.
//
// Texts that the server sends are code page 950 (or whatever the server uses) and may hold any bytes.
class VEKAPI_EXPORT VekClientHandler {
  friend class VekClient;

 private:
  // A message whose code the library does not know. `packet` is the whole message, header included, of
  // `length` bytes, and lives until the event returns. When the message came in pieces, the length inside the
  // header is that of the last piece: use `length`.
  virtual void OnVekUnknownMsgCodeEvent(VekClient& client, int msgCode, const char* packet, int length);

 public:
  VekClientHandler() = default;
  VekClientHandler(const VekClientHandler&) = default;
  VekClientHandler& operator=(const VekClientHandler&) = default;

  // The state changed: read it with client.State(). `reason` is empty when the server accepted the connect
  // request, else says why; "Disconnect()" after a call of Disconnect.
  virtual void OnVekConnectEvent(VekClient& client, const std::string& reason) = 0;

  // Signed on: client.SgnResult() holds the accounts, requests may be sent.
  virtual void OnVekApReadyEvent(VekClient& client) = 0;

  // The answer to a request of code 128. `result` lives until the event returns; copy it to keep it.
  virtual void OnVekTaskResultEvent(VekClient& client, const VekTaskResult& result) = 0;

  // The answer to ChgPass, or ChgPass's own complaint that its texts are too long.
  virtual void OnVekChgPassResultEvent(VekClient& client, const std::string& user,
                                       const std::string& resultText) = 0;

  // An acknowledgement; `msgCode` is 129 or 131. With 129 the text has a line for each acknowledged request:
  // hand both to VekFlowCtrl::VekAckParser.
  virtual void OnVekRequestAckEvent(VekClient& client, int msgCode, const std::string& ackText) = 0;

  virtual void OnVekReportEvent(VekClient& client, const std::string& reportText) = 0;

  // The client's destructor has begun; the last event of a client, on the thread that destroys it. The client
  // must not be deleted here again.
  virtual void OnVekClientDestroyEvent(VekClient& client) = 0;

  virtual ~VekClientHandler();
};

// A handler for those who need only some of the events: the others are empty.
class VekClientHandlerBase : public VekClientHandler {
 public:
  void OnVekConnectEvent(VekClient& /*client*/, const std::string& /*reason*/) override {}
  void OnVekApReadyEvent(VekClient& /*client*/) override {}
  void OnVekTaskResultEvent(VekClient& /*client*/, const VekTaskResult& /*result*/) override {}
  void OnVekChgPassResultEvent(VekClient& /*client*/, const std::string& /*user*/,
                               const std::string& /*resultText*/) override {}
  void OnVekRequestAckEvent(VekClient& /*client*/, int /*msgCode*/, const std::string& /*ackText*/) override {
  }
  void OnVekReportEvent(VekClient& /*client*/, const std::string& /*reportText*/) override {}
  void OnVekClientDestroyEvent(VekClient& /*client*/) override {}
};

}  // namespace VekApi

#endif  // VEKAPI_VEKCLIENTHANDLER_H
