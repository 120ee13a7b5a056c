#pragma once

#include <memory>
#include <string>

#include "protocol/Packet.h"

namespace VekApi {

// What a connect result says about packet bodies: scrambling mode and key, and the byte order. A value:
// senders on any thread work with a copy, one consistent view.
//
// Scrambling XORs the bytes behind the header with the key, over and over, starting with its first byte in
// every packet. The key is laid out here as often as a packet needs it, so that scrambling is one pass over
// two plain ranges.
class TCipher {
 public:
  TCipher() = default;
  TCipher(EVekEndian endian, int mode, const std::string& key);

  // The same byte order and mode without a key.
  TCipher WithoutKey() const noexcept;

  EVekEndian Endian() const { return endian_; }

  // Bytes 3 to length-1, whatever the mode. Twice gives the packet back.
  void Xor(char* packet, int length) const;

  // The same as requests need it: only in mode 1.
  void EncPacket(char* packet, int length) const {
    if (mode_ == 1) Xor(packet, length);
  }

 private:
  EVekEndian endian_ = vek_LittleEndian;
  int mode_ = 0;
  std::shared_ptr<const std::string> pad_;  // the key, whole, as often as fits; null without a key
};

}  // namespace VekApi
