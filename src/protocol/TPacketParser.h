#pragma once

#include <atomic>
#include <cstddef>
#include <string>

#include "protocol/Cipher.h"

namespace VekApi {

// Receives what the parser finds in the stream. Bodies are descrambled. Bytes are borrowed for the call and
// may be modified.
class TPacketEvents {
 public:
  // Each single packet, before it is interpreted. Only while the parser is tapped.
  virtual void OnPacket(const char* /*packet*/, int /*length*/) {}

  virtual void OnPkConnectResult(const char* packet, int length) = 0;  // code 0
  virtual void OnPkSession(const char* packet, int length) = 0;        // code 2

  // Any code from 4 up. `message` is the complete message, its pieces joined: five lead bytes and the text.
  // The byte after it may be overwritten until this returns, if the parsed block allows that.
  virtual void OnMessage(int msgCode, char* message, std::size_t length) = 0;

  // The bytes are not a valid packet stream. Nothing after them is parsed.
  virtual void OnStreamBroken(const char* reason) = 0;

 protected:
  ~TPacketEvents() = default;
};

// Splits a byte stream into packets, descrambles them, and joins messages sent in pieces.
//
// Received lengths are not trusted: no length inside a body reaches beyond the bytes received. A packet
// length below the header's own, or a message above its limit, breaks the stream.
class TPacketParser {
 public:
  // Reasons passed to OnStreamBroken.
  static constexpr char kBadPacketLength[] = "Invalid packet length";
  static constexpr char kMessageTooLong[] = "Message too long";

  // Both flags must live as long as the parser. `over`: the rest of the stream is no longer wanted; checked
  // after each event, and the parser then drops the rest of its block and accesses only members that its
  // owner keeps alive. OnPacket is called while `tapped`.
  TPacketParser(TPacketEvents& events, const std::atomic<bool>& over,
                const std::atomic<bool>& tapped = kNotTapped)
      : events_(events), over_(over), tapped_(tapped) {}

  // Scrambling and byte order of the bytes that follow.
  void SetCipher(const TCipher& cipher) { cipher_ = cipher; }
  const TCipher& Cipher() const { return cipher_; }

  // Limit of the total text length of a message sent in pieces, in bytes.
  void SetMaxMessage(std::size_t bytes) { maxMessageBytes_ = bytes; }

  // Parses a block, descrambling it in place. Throws std::bad_alloc; the stream must not be parsed further
  // after that.
  void Parse(char* block, unsigned length);

  // Discards received data not yet dispatched and frees its memory. May be called inside an event.
  void Clear();

 private:
  static inline const std::atomic<bool> kNotTapped{false};

  bool CompleteCarried(char*& block, unsigned& length);
  void Dispatch(char* packet, int length);
  // All but complete messages in one packet.
  void DispatchOther(int code, const char* packet, int length);
  bool AppendToBigPk(const char* packet, unsigned length);
  bool Over() const { return over_.load(std::memory_order_acquire); }

  TPacketEvents& events_;
  const std::atomic<bool>& over_;
  const std::atomic<bool>& tapped_;
  TCipher cipher_;
  std::size_t maxMessageBytes_ = 0;
  std::string bigPkBuf_;  // five lead bytes and the pieces received so far, or empty
  std::string recvBuf_;   // the start of an incomplete packet
};

}  // namespace VekApi
