#ifndef VEKAPI_VEKCLIENTHANDLER_H
#define VEKAPI_VEKCLIENTHANDLER_H

#include <string>

#include "vekapi/VekExport.h"

namespace VekApi {

class VekClient;
class VekTaskResult;

// Receives the events of a client. Derive from it, pass it to a VekClient, and keep it alive until that
// client is destroyed.
//
// Threads: events of one client never overlap and arrive in wire order. They run on the link's own thread, on
// the timer thread (heartbeat), or inside Connect and Disconnect on the caller's thread. A handler shared by
// several clients may be called by several threads at once.
//
// Inside any event the application may call any function on that client: send, Connect, Disconnect, change
// the password, delete it. After Disconnect, Connect or the destructor has returned, no event of the earlier
// link is running or will follow, unless that call was made inside one. An event must not throw.
//
// Texts from the server are in code page 950 (or whatever the server uses) and may contain any bytes.
class VEKAPI_EXPORT VekClientHandler {
  friend class VekClient;

 private:
  // A message with a code unknown to the library. `packet` is the whole message, header included, `length`
  // bytes, valid until the event returns. If the message came in pieces, the length field in the header is
  // that of the last piece: use `length`.
  virtual void OnVekUnknownMsgCodeEvent(VekClient& client, int msgCode, const char* packet, int length);

 public:
  // A handler has no state of its own.
  VekClientHandler() = default;
  VekClientHandler(const VekClientHandler&) = default;
  VekClientHandler& operator=(const VekClientHandler&) = default;

  // The state changed; read it with client.State(). `reason` is empty if the server accepted the connect
  // request; otherwise it gives the cause, "Disconnect()" after a call of Disconnect.
  virtual void OnVekConnectEvent(VekClient& client, const std::string& reason) = 0;

  // Signed on: client.SgnResult() holds the accounts, and requests may be sent.
  virtual void OnVekApReadyEvent(VekClient& client) = 0;

  // The result of a query (code 128). `result` is valid until the event returns; copy it to keep it.
  virtual void OnVekTaskResultEvent(VekClient& client, const VekTaskResult& result) = 0;

  // The answer to ChgPass, or the error that ChgPass raises itself if its texts are too long.
  virtual void OnVekChgPassResultEvent(VekClient& client, const std::string& user,
                                       const std::string& resultText) = 0;

  // An acknowledgement; `msgCode` is 129 or 131. With 129 the text has one line per acknowledged request:
  // pass code and text to VekFlowCtrl::VekAckParser.
  virtual void OnVekRequestAckEvent(VekClient& client, int msgCode, const std::string& ackText) = 0;

  // A report from the server (code 130).
  virtual void OnVekReportEvent(VekClient& client, const std::string& reportText) = 0;

  // The client's destructor has started. This is the client's last event, on the thread that destroys it. The
  // client must not be deleted here again.
  virtual void OnVekClientDestroyEvent(VekClient& client) = 0;

  virtual ~VekClientHandler();
};

// A handler with empty events, for applications that need only some of them.
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
