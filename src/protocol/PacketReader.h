#pragma once

#include <string_view>

#include "protocol/Packet.h"

namespace VekApi {

// Reads a packet from a given offset. Reads beyond its end are truncated.
class TPacketReader {
 public:
  TPacketReader(const char* packet, int length, int offset, EVekEndian endian)
      : rest_(packet, static_cast<std::size_t>(length)), endian_(endian) {
    Text(static_cast<std::size_t>(offset));
  }

  std::string_view Text(std::size_t length) {
    const std::string_view text = rest_.substr(0, length);
    rest_.remove_prefix(text.size());
    return text;
  }
  std::size_t U8() {
    const std::string_view byte = Text(1);
    return byte.empty() ? 0 : Byte(byte[0]);
  }
  std::size_t U16() {
    const std::string_view bytes = Text(2);
    return bytes.size() < 2 ? 0 : GetU16(bytes.data(), endian_);
  }
  std::size_t Left() const { return rest_.size(); }

 private:
  std::string_view rest_;
  EVekEndian endian_;
};

}  // namespace VekApi
