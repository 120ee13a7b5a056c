#pragma once

#include <cstddef>
#include <string>

#include "protocol/Packet.h"
#include "vekapi/VekClientParser.h"

namespace VekApi {

// What a connect result says about packet bodies: scrambling mode and key, and the byte order. Never changes
// once made, so that senders on any thread work with one consistent view.
//
// Scrambling XORs the bytes behind the header with the key, over and over, starting with its first byte in
// every packet. The key is laid out here as often as a packet needs it, so that scrambling is one pass over
// two plain ranges.
class VekClientParser::TCipher {
 public:
  TCipher(EVekEndian endian, int mode, std::string key);

  EVekEndian Endian() const { return endian_; }
  int Mode() const { return mode_; }

  // Bytes 3 to length-1, whatever the mode. Twice gives the packet back.
  void Xor(char* packet, int length) const;

  // The same as requests need it: only in mode 1.
  void EncPacket(char* packet, int length) const {
    if (mode_ == 1) Xor(packet, length);
  }

  // Makes a packet of a request's piece: header and text length into the five bytes at `at`, scrambled as far
  // as the session asks for it. `textLength` bytes follow those five. The packet's length.
  int FramePiece(char* at, int msgCode, std::size_t textLength) const;

 private:
  EVekEndian endian_;
  int mode_;
  std::string pad_;  // the key, whole, as often as fits; empty without a key
};

}  // namespace VekApi
