#ifndef VEKAPI_VEKCLIENT_H
#define VEKAPI_VEKCLIENT_H

#include <string>

#include "vekapi/VekClientHandler.h"
#include "vekapi/VekClientParser.h"
#include "vekapi/VekExport.h"
#include "vekapi/VekTypes.h"

namespace VekApi {

class TLink;
class TRequestPort;
struct TClientParts;
class VekFlowCtrlSender;
class VekTaskResult;

// One session with an order-routing server.
//
// Threads: queries and sends may be called on any thread. Connect, Disconnect and the destructor may be
// called on any thread, also inside events of this or any other client, but not on two threads at once. They
// wait for an event that is running on another thread, unless that event itself waits, in a call like these,
// for the one that they are called from: then they go on as if called from inside it. A thread that waits
// keeps answering messages sent to its windows.
//
// Failures come back as results or as events; nothing here throws for what a server, a network or the lack of
// memory does, but the constructors (std::bad_alloc).
//
// In a forked child an inherited client does nothing: every call answers false. New ones work.
class VEKAPI_EXPORT VekClient {
 public:
  // `handler` is not owned and must outlive the client.
  explicit VekClient(VekClientHandler& handler);

  // The copy shares the session: connecting either of them closes the link of both. A link ends with the
  // client that connected. Meant for clients that are not connected.
  VekClient(const VekClient& other);
  VekClient& operator=(const VekClient&) = delete;

  // Raises OnVekClientDestroyEvent, then closes the session and forgets the password. No event comes
  // afterwards.
  ~VekClient();

  EVekClientState State() const;

  // True at vcs_Connected and above, and at vcs_SgnError.
  bool IsSessionConnected() const;

  // The result that ended the last sign-on. The reference lives as long as the client; its content is
  // replaced by the next sign-on, so read it inside an event, or while no sign-on can be under way.
  const VekTaskResult& SgnResult() const;

  // Name and version of the server, such as "GW.2.0.1.15"; empty while not connected. To be read inside an
  // event or while no connect can be under way.
  const std::string& ServerName() const;

  // Closes an earlier session and opens a new one; the outcome comes as events.
  //
  // `setting` is "HOST:PORT" for TCP ("gw.example:9000", "127.0.0.1:9000", "[::1]:9000"), or a colon followed
  // by a messenger kind and its parameters (":TCPClient:HOST:PORT n M0 ct=5000"; see docs/settings.md).
  // `apVersion` is four decimal numbers with one separator character between them, such as "1.2.3.4"; missing
  // numbers are 0, each is cut to 16 bits. `id1` and `id2` are joined by "/" into the user identity. An
  // `apName` of more than 4062 bytes, or a setting that makes no messenger, raises OnVekConnectEvent in state
  // vcs_LinkError before the call returns. The identity and the password may have up to 255 bytes each:
  // longer ones are sent with a wrapped length byte and refused by servers.
  void Connect(const std::string& setting, const std::string& apName, const std::string& apVersion,
               const std::string& id1, const std::string& id2, const std::string& pass);

  // Closes the session and raises OnVekConnectEvent with "Disconnect()" in state vcs_Disconnected, on this
  // thread. What the system has not yet taken of earlier sends is dropped; a large result that is being read
  // is given up.
  void Disconnect();

  // Asks the server to change a password; the answer comes as OnVekChgPassResultEvent. False when not
  // connected, when the link took nothing, or when the three texts have more than 4091 bytes together (the
  // event then says so). Each may have up to 255 bytes. May be called at vcs_SgnError.
  bool ChgPass(const std::string& user, const std::string& oldPass, const std::string& newPass);

  // Sends a whole packet that the caller has built (SetPkHead, MakePkBuffer) of `length` bytes, header
  // included. The body is scrambled in place: the buffer is consumed. True when the link took all of it.
  bool SendPk(char* packet, int length);

  // Sends a request. `buffer` starts with five free bytes, which the library fills; the text follows.
  // `length` counts both and must be 6 or more, at most 1 GiB. Texts over 4090 bytes are sent in pieces. The
  // buffer is consumed: it holds headers and scrambled bytes afterwards. All or nothing: true when the link
  // took the whole request, false when it took none of it.
  //
  // Code 128 first asks the rate that the server gave at sign-on, and is refused with false when it is used
  // up.
  bool SendVekRequest(int msgCode, char* buffer, unsigned length);

  // The same with code 128, telling how long to wait: 0 sent, -1 not sent, positive: milliseconds until the
  // rate allows it (nothing was sent).
  int SendVekQueryRequest(char* buffer, unsigned length);

  // Scrambles bytes 3 to length-1 of a finished packet in place when the session asks for it (mode 1 and a
  // key).
  void EncPacket(char* packet, int length) const;

  // Writes the three header bytes: byte 0 = bits 0-7 of the length, byte 1 = bits 8-11 of the code (high
  // half) and of the length (low half), byte 2 = bits 0-7 of the code. Higher bits are dropped. `length`
  // counts the header.
  static void SetPkHead(char* packet, int msgCode, int length);

  // Makes `buffer` exactly `length` bytes long, keeping the bytes that it had and filling with zeros, and
  // writes the header. False, with `buffer` untouched, when length is not in 3 to 4098.
  static bool MakePkBuffer(std::string& buffer, int msgCode, int length);

 protected:
  class VEKAPI_HIDDEN TImpl;

  // Takes over `impl`, which must be new and belong to no other client.
  VekClient(VekClientHandler& handler, TImpl* impl);

  // SendVekRequest without the rate.
  bool SendVekRequestImpl(int msgCode, char* buffer, unsigned length);

 private:
  friend class TLink;
  friend struct TClientParts;
  friend class VekClientParser;
  friend class VekFlowCtrlSender;

  void OnVekConnectEvent(EVekClientState newState, const std::string& reason);
  void OnVekUnknownMsgCodeEvent(int msgCode, const char* packet, int length);
  void OnVekApReadyEvent();
  void OnVekTaskResultEvent(const VekTaskResult& result);
  void OnVekChgPassResultEvent(const std::string& user, const std::string& resultText);
  void OnVekRequestAckEvent(int msgCode, const std::string& ackText);
  void OnVekReportEvent(const std::string& reportText);

  void OnLinkBrokenAfterRefusal();
  void SetState(EVekClientState state);
  void SetQueryRate(int count, int intervalMs);
  bool SetDisconnect();
  bool SendSignOn();
  TRequestPort& RequestPort() const;
  void WipeSignOn();

  VekClientHandler& handler_;
  VekClientParser parser_;
  std::string apName_;
  std::string apVersion_;
  std::string sgnId_;
  std::string sgnPass_;
  TImpl* impl_;
};

}  // namespace VekApi

#endif  // VEKAPI_VEKCLIENT_H
