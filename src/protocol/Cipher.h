#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "protocol/Packet.h"

namespace VekApi {

// Scrambling mode, key and byte order, as announced in a connect result. A value type: senders on any thread
// use a copy, which is a consistent snapshot.
//
// Scrambling XORs the bytes after the header with the repeated key, starting at its first byte in every
// packet. The key is repeated here to a length at which scrambling is a few passes over two plain ranges.
class TCipher {
 public:
  TCipher() = default;
  TCipher(EVekEndian endian, int mode, const std::string& key);

  // The same byte order and mode without a key.
  TCipher WithoutKey() const noexcept;

  EVekEndian Endian() const { return endian_; }

  // XORs bytes 3 to length-1 in any mode. Applying it twice restores the packet.
  void Xor(char* packet, int length) const {
    if (pad_ && length > kHeadBytes)
      XorBody(packet + kHeadBytes, static_cast<std::size_t>(length - kHeadBytes));
  }

  // As Xor, but only in mode 1: requests are not scrambled in other modes.
  void EncPacket(char* packet, int length) const {
    if (mode_ == 1) Xor(packet, length);
  }

 private:
  void XorBody(char* body, std::size_t length) const;

  EVekEndian endian_ = vek_LittleEndian;
  int mode_ = 0;
  std::shared_ptr<const std::string> pad_;  // whole repetitions of the key; null without one
};

}  // namespace VekApi
