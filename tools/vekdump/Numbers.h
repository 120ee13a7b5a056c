// Numbers in captured bytes.
#pragma once

#include <cstdint>
#include <string_view>

#include "protocol/Packet.h"

namespace VekDump {

// The caller has checked that the bytes are there.
inline unsigned U8(std::string_view bytes, std::size_t at) {
  return VekApi::Byte(bytes[at]);
}
inline unsigned U16(std::string_view bytes, std::size_t at, EVekEndian order = vek_BigEndian) {
  return VekApi::GetU16(bytes.data() + at, order);
}
inline std::uint32_t U32(std::string_view bytes, std::size_t at, EVekEndian order = vek_BigEndian) {
  return VekApi::GetU32(bytes.data() + at, order);
}

}  // namespace VekDump
