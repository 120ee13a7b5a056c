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
// Threads: queries and sends are thread-safe. Connect, Disconnect and the destructor may be called on any
// thread, also inside events of this or another client, but must not overlap with each other. They wait for
// an event running on another thread. If that event is itself waiting, in one of these calls, for the event
// they are called from, they do not wait (this would deadlock) but proceed as if called from inside it. A
// waiting thread keeps answering messages sent to its windows.
//
// Errors are reported as return values or events. Only the constructors throw (std::bad_alloc).
//
// In a forked child an inherited client does nothing: every call returns false. New clients work.
class VEKAPI_EXPORT VekClient {
 public:
  // `handler` is not owned and must outlive the client.
  explicit VekClient(VekClientHandler& handler);

  // The copy shares the session: connecting one of them closes the link of both. A link ends with the client
  // that connected it. Intended for clients that are not connected.
  VekClient(const VekClient& other);
  VekClient& operator=(const VekClient&) = delete;

  // Raises OnVekClientDestroyEvent, then closes the session and erases the password. No event follows.
  ~VekClient();

  // The current state. Thread-safe.
  EVekClientState State() const;

  // True at vcs_Connected and above, and at vcs_SgnError.
  bool IsSessionConnected() const;

  // The result that ended the last sign-on. The reference is valid as long as the client; the next sign-on
  // replaces its content, so read it inside an event or while no sign-on can be in progress.
  const VekTaskResult& SgnResult() const;

  // Name and version of the server, such as "GW.2.0.1.15"; empty while not connected. Read it inside an event
  // or while no connect can be in progress.
  const std::string& ServerName() const;

  // Closes any earlier session and opens a new one; the outcome arrives as events.
  //
  // `setting` is "HOST:PORT" for TCP ("gw.example:9000", "127.0.0.1:9000", "[::1]:9000"), or a colon followed
  // by a messenger kind and its parameters (":TCPClient:HOST:PORT n M0 ct=5000"; see docs/settings.md).
  // `apVersion` is four decimal numbers separated by one character, such as "1.2.3.4"; missing numbers are 0,
  // each is truncated to 16 bits. `id1` and `id2` are joined by "/" into the user identity. An `apName`
  // longer than 4062 bytes or an invalid setting raises OnVekConnectEvent in state vcs_LinkError before the
  // call returns. Identity and password are limited to 255 bytes each: a longer one is sent with a truncated
  // length byte and refused by servers.
  void Connect(const std::string& setting, const std::string& apName, const std::string& apVersion,
               const std::string& id1, const std::string& id2, const std::string& pass);

  // Closes the session and raises OnVekConnectEvent with "Disconnect()" in state vcs_Disconnected, on this
  // thread. Data not yet accepted by the operating system is dropped, and a large result being parsed is
  // abandoned.
  void Disconnect();

  // Asks the server to change a password; the answer arrives as OnVekChgPassResultEvent. Returns false if not
  // connected, if the link refused the request, if there is no memory for it, or if the three texts exceed
  // 4091 bytes together (the event then says so). Each is limited to 255 bytes. May be called at
  // vcs_SgnError.
  bool ChgPass(const std::string& user, const std::string& oldPass, const std::string& newPass);

  // Sends a complete packet built by the caller (SetPkHead, MakePkBuffer), `length` bytes including the
  // header. The body is scrambled in place. True if the link accepted all of it.
  bool SendPk(char* packet, int length);

  // Sends a request. `buffer` starts with five bytes reserved for the library, followed by the text; `length`
  // counts both, from 6 bytes to 1 GiB. Texts over 4090 bytes are sent in pieces. The buffer is modified: it
  // then holds headers and scrambled bytes. Returns true if the link accepted the whole request, false if
  // nothing was sent.
  //
  // A query (code 128) is also refused, with false, when the query rate given at sign-on is used up.
  bool SendVekRequest(int msgCode, char* buffer, unsigned length);

  // SendVekRequest with code 128, reporting how long to wait: 0 sent; -1 not sent; positive: nothing was
  // sent, milliseconds until the query rate allows it.
  int SendVekQueryRequest(char* buffer, unsigned length);

  // Scrambles bytes 3 to length-1 of a complete packet in place if the session uses scrambling (mode 1 and a
  // key).
  void EncPacket(char* packet, int length) const;

  // Writes the three header bytes: byte 0 = bits 0-7 of the length, byte 1 = bits 8-11 of the code (high
  // half) and of the length (low half), byte 2 = bits 0-7 of the code. Higher bits are dropped. `length`
  // includes the header.
  static void SetPkHead(char* packet, int msgCode, int length);

  // Resizes `buffer` to `length` bytes, keeping its content and padding with zeros, and writes the header.
  // False, with `buffer` unchanged, if `length` is not in 3 to 4098.
  static bool MakePkBuffer(std::string& buffer, int msgCode, int length);

 protected:
  class VEKAPI_HIDDEN TImpl;

  // Takes ownership of `impl`, which must be new and not used by another client.
  VekClient(VekClientHandler& handler, TImpl* impl);

  // SendVekRequest without the query rate limit.
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
