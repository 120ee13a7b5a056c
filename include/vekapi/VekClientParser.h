#ifndef VEKAPI_VEKCLIENTPARSER_H
#define VEKAPI_VEKCLIENTPARSER_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "vekapi/VekExport.h"
#include "vekapi/VekTaskResult.h"
#include "vekapi/VekTypes.h"

namespace VekApi {

class TCipher;
class TLink;
class TLinkLife;
struct TCipherSlot;
class VekClient;

// The receiving half of a session: cuts the byte stream into packets, descrambles them, joins messages that
// come in pieces, and raises the client's events. Also keeps what the handshake learns. Owned by its client;
// applications meet it only through VekClient.
//
// Threads: State, EncPacket and the byte order may be asked on any thread. Everything else runs inside the
// session's synchronised context.
//
// What comes from a server is input, not truth: no length inside a body reaches past the bytes received. A
// packet that announces less than its own three header bytes, or a message whose pieces add up to more than
// the setting allows (docs/settings.md), ends the link with state vcs_LinkBroken.
class VEKAPI_EXPORT VekClientParser {
 public:
  explicit VekClientParser(VekClient& client);
  VekClientParser(const VekClientParser& other);
  VekClientParser& operator=(const VekClientParser&) = delete;
  ~VekClientParser();

  EVekClientState State() const { return state_.load(std::memory_order_acquire); }
  void State(EVekClientState state) { state_.store(state, std::memory_order_release); }

  const std::string& ServerName() const { return serverName_; }
  EVekEndian ServerEndian() const;
  const VekTaskResult& SgnResult() const { return sgnResult_; }

  // Consumes a block of received bytes; they are descrambled in place. Events come from inside the call. An
  // event may disconnect or delete the client: the rest of the block is then dropped.
  void ParsePacket(char* block, unsigned length);

  // Forgets the link: state vcs_Disconnected, no key, no half-received packet, no server name. The mode, the
  // byte order and the sign-on result stay until the next connect result.
  void SetDisconnected();

  // Scrambles bytes 3 to length-1 in place when the mode is 1 and there is a key.
  void EncPacket(char* packet, int length) const;

 private:
  friend class TLink;
  friend class VekClient;

  VekClientParser(VekClient& client, std::shared_ptr<TCipherSlot> slot);
  VekClientParser(const VekClientParser& other, VekClient& client);

  // What is parsed from now on comes from this link, which takes that back when it ends: then what was
  // received and not acted on is forgotten, and spare memory is given back.
  void Begin(TLinkLife& link, std::size_t maxMessageBytes);
  void End(const TLinkLife& link);

  const TCipher& CipherInside() const;  // for the thread inside the context: only it changes it
  void DropBlock();

  void XorEncDecPacket(char* packet, int length) const;
  void DecPacket(char* packet, int length) const { XorEncDecPacket(packet, length); }

  bool CompleteCarried(const TLinkLife& link, char*& block, unsigned& length);
  void Dispatch(const TLinkLife& link, char* packet, int length);
  void OnPkConnectResult(const char* packet, int length);
  void OnPkSession(const char* packet, int length);
  void OnSgnReply(const char* packet, int length);
  void OnChgPassResult(const char* packet, int length);
  void OnMessage(const TLinkLife& link, int msgCode, const char* message, std::size_t length);
  void OnTaskResult(const TLinkLife& link, const char* message, std::size_t length);
  void OnSgnResult(const VekTaskResult& result);
  void OnText(const TLinkLife& link, int msgCode, const char* message, std::size_t length);
  bool AppendToBigPk(const char* packet, unsigned length);

  VekClient& client_;
  std::atomic<EVekClientState> state_{vcs_None};
  std::string bigPkBuf_;
  std::string recvBuf_;
  VekTaskResult sgnResult_;
  std::string serverName_;
  std::uint32_t sgnReplyValue_ = 0;

  const std::shared_ptr<TCipherSlot> slot_;
  TLinkLife* link_ = nullptr;  // whose bytes are parsed; null: nobody's
  std::size_t maxMessageBytes_ = 0;
  std::unique_ptr<VekTaskResult> spareResult_;
  std::string spareText_;
};

}  // namespace VekApi

#endif  // VEKAPI_VEKCLIENTPARSER_H
