// The parser's private parts.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "protocol/Cipher.h"
#include "vekapi/VekClientParser.h"

namespace VekApi {

// What other threads look at.
struct VekClientParser::TShared {
  std::mutex mutex;  // leaf
  std::shared_ptr<const TCipher> cipher;
};

// One ParsePacket on the stack. An event that deletes the client or drops the link marks the frames beneath
// it: they unwind without touching the parser, or without parsing what is left of their block.
struct VekClientParser::TFrame {
  explicit TFrame(VekClientParser& owner) : parser(&owner), outer(owner.frame_) { owner.frame_ = this; }
  ~TFrame() {
    if (!gone) parser->frame_ = outer;
  }
  TFrame(const TFrame&) = delete;
  TFrame& operator=(const TFrame&) = delete;

  bool Over() const { return gone || stale; }

  VekClientParser* parser;
  TFrame* outer;
  bool gone = false;   // the parser is destroyed
  bool stale = false;  // the link that the block came from is closed
};

}  // namespace VekApi
