// Packet header, codes, and numbers in packet bodies.
//
// Header, 3 bytes, independent of the server's byte order: byte 0 = bits 0-7 of the length, byte 1 = bits
// 8-11 of the code (high half) and of the length (low half), byte 2 = bits 0-7 of the code. The length
// includes the header.
#pragma once

#include <cstddef>
#include <cstdint>

#include "vekapi/VekTypes.h"

namespace VekApi {

enum EPkCode : int {
  PkConnect = 0,
  PkHeartbeat = 1,
  PkSession = 2,
  PkBigPart = 3,
  PkTaskResult = 128,
  PkRequestAck = 129,
  PkReport = 130,
  PkRequestAck2 = 131,
};

// Byte 3 of a PkSession packet.
enum EPkSessionSubcode : signed char {
  PkSessionSignOn = 0,       // to the server
  PkSessionChgPass = 1,      // both directions
  PkSessionSignOnReply = 2,  // from the server
};

inline constexpr int kHeadBytes = 3;
inline constexpr int kMaxBuilt = 4098;  // longest packet that the builders accept

inline bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}
inline unsigned Byte(char c) {
  return static_cast<unsigned char>(c);
}

inline void PutHead(char* packet, int msgCode, int length) {
  packet[0] = static_cast<char>(length & 0xFF);
  packet[1] = static_cast<char>((msgCode >> 4 & 0xF0) | (length >> 8 & 0x0F));
  packet[2] = static_cast<char>(msgCode & 0xFF);
}
inline int PkLength(const char* packet) {
  return static_cast<int>((Byte(packet[1]) & 0x0F) << 8 | Byte(packet[0]));
}
inline int PkCode(const char* packet) {
  return static_cast<int>((Byte(packet[1]) & 0xF0) << 4 | Byte(packet[2]));
}

inline void PutU16(char* at, std::size_t value, EVekEndian endian) {
  const char low = static_cast<char>(value & 0xFF);
  const char high = static_cast<char>(value >> 8 & 0xFF);
  at[0] = endian == vek_LittleEndian ? low : high;
  at[1] = endian == vek_LittleEndian ? high : low;
}
inline std::uint16_t GetU16(const char* at, EVekEndian endian) {
  const unsigned first = Byte(at[0]);
  const unsigned second = Byte(at[1]);
  return static_cast<std::uint16_t>(endian == vek_LittleEndian ? first | second << 8 : first << 8 | second);
}
inline std::uint32_t GetU32(const char* at, EVekEndian endian) {
  const std::uint32_t first = GetU16(at, endian);
  const std::uint32_t second = GetU16(at + 2, endian);
  return endian == vek_LittleEndian ? first | second << 16 : first << 16 | second;
}

}  // namespace VekApi
