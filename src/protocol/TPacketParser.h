#pragma once

#include <cstddef>
#include <string>

#include "protocol/Cipher.h"

namespace VekApi {

// What a parser tells of the stream. Bodies are descrambled; bytes are lent for the call and may be changed.
class TPacketEvents {
 public:
  // What comes is no longer wanted. Asked after each of the calls below: the parser then leaves the rest of
  // its block, and does not touch itself any more but for what its owner keeps alive.
  virtual bool Over() const = 0;

  virtual void OnPkConnectResult(const char* packet, int length) = 0;  // code 0
  virtual void OnPkSession(const char* packet, int length) = 0;        // code 2

  // Any code of 4 and above. `message` is the whole of it, pieces joined: five lead bytes and the text.
  virtual void OnMessage(int msgCode, const char* message, std::size_t length) = 0;

  // The bytes are no stream of packets; nothing behind them is parsed.
  virtual void OnStreamBroken(const char* reason) = 0;

 protected:
  ~TPacketEvents() = default;
};

// Cuts a byte stream into packets, descrambles them, and joins messages that come in pieces.
//
// What comes is input, not truth: no length inside a body reaches past the bytes received. A packet that
// announces less than its own header, or a message beyond its bound, breaks the stream.
class TPacketParser {
 public:
  // Why a stream is none.
  static constexpr char kBadPacketLength[] = "Invalid packet length";
  static constexpr char kMessageTooLong[] = "Message too long";

  explicit TPacketParser(TPacketEvents& events) : events_(events) {}

  // How what follows is scrambled, and its byte order.
  void SetCipher(const TCipher& cipher) { cipher_ = cipher; }
  const TCipher& Cipher() const { return cipher_; }

  // Bytes of text that the pieces of one message may add up to.
  void SetMaxMessage(std::size_t bytes) { maxMessageBytes_ = bytes; }

  // Consumes a block; it is descrambled in place. Throws std::bad_alloc; the stream is not to be parsed any
  // further then.
  void Parse(char* block, unsigned length);

  // Forgets what was received and not yet told, and gives its memory back. Also inside an event.
  void Clear();

 private:
  bool CompleteCarried(char*& block, unsigned& length);
  void Dispatch(char* packet, int length);
  bool AppendToBigPk(const char* packet, unsigned length);

  TPacketEvents& events_;
  TCipher cipher_;
  std::size_t maxMessageBytes_ = 0;
  std::string bigPkBuf_;  // five lead bytes and the pieces received so far, or empty
  std::string recvBuf_;   // the start of an incomplete packet
};

}  // namespace VekApi
