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

class TLink;
struct TCipherSlot;
class VekClient;

// The session data of a client: its state and what the server announces in the handshake. Owned by its
// client; applications use it only through VekClient.
//
// Threads: State, EncPacket and ServerEndian are thread-safe. Everything else runs inside the session's
// synchronised context.
class VEKAPI_EXPORT VekClientParser {
 public:
  // `client` owns the parser.
  explicit VekClientParser(VekClient& client);
  VekClientParser(const VekClientParser& other);
  VekClientParser& operator=(const VekClientParser&) = delete;
  ~VekClientParser();

  // The session's state.
  EVekClientState State() const { return state_.load(std::memory_order_acquire); }
  void State(EVekClientState state) { state_.store(state, std::memory_order_release); }

  // Name and version of the server; empty while not connected.
  const std::string& ServerName() const { return serverName_; }
  // Byte order of the server, as announced in the last connect result.
  EVekEndian ServerEndian() const;
  // The result that ended the last sign-on.
  const VekTaskResult& SgnResult() const { return sgnResult_; }

  // Parses a block of received bytes, descrambling it in place, and raises events from inside the call. An
  // event may disconnect or delete the client: the rest of the block is then dropped. Bytes that arrive while
  // there is no link are dropped too.
  //
  // Received lengths are not trusted: no length inside a body reaches beyond the bytes received. A packet
  // length below the three header bytes, or a message whose pieces exceed the limit of the setting
  // (docs/settings.md), ends the link with state vcs_LinkBroken.
  void ParsePacket(char* block, unsigned length);

  // Resets the link data: state vcs_Disconnected, no key, no partial packet, no server name. The mode, the
  // byte order and the sign-on result stay until the next connect result.
  void SetDisconnected();

  // Scrambles bytes 3 to length-1 in place if the mode is 1 and there is a key.
  void EncPacket(char* packet, int length) const;

 private:
  friend class TLink;
  friend class VekClient;

  VekClientParser(VekClient& client, std::shared_ptr<TCipherSlot> slot);
  VekClientParser(const VekClientParser& other, VekClient& client);

  VekClient& client_;
  std::atomic<EVekClientState> state_{vcs_None};
  VekTaskResult sgnResult_;
  std::string serverName_;
  std::uint32_t sgnReplyValue_ = 0;
  const std::shared_ptr<TCipherSlot> slot_;
};

}  // namespace VekApi

#endif  // VEKAPI_VEKCLIENTPARSER_H
