// A recording holds the packets of links, for later inspection. Bodies are descrambled, passwords are masked
// (see Masked.h). Numbers are little-endian.
//
// The file starts with the eight bytes "VEKREC1\n", followed by records. Each has a head of 32 bytes and
// `length` bytes of content:
//
//    0  4  length of the content, at most kMostRecordBytes
//    4  1  kind
//    5  1  sender of the packet: 0 the client, 1 the server
//    6  1  byte order of the packet's body: 0 little-endian, 1 big-endian, 2 unknown, because the handshake
//          was not seen; the body may then be scrambled
//    7  1  0
//    8  4  number of the link, from 1; each connection gets a new one
//   12  4  state of the session, signed (kind State)
//   16  8  monotonic time in ns, for measuring intervals
//   24  8  wall clock in ns since 1970, UTC
//   32  n  Packet: one packet, header included. LinkUp: both addresses. LinkEnd and State: the reason.
//          Note: any text, such as how long a request was held. Texts are UTF-8.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace VekApi {

inline constexpr std::string_view kRecordingMagic = "VEKREC1\n";
inline constexpr std::size_t kMostRecordBytes = 65535;

enum class ERecord : unsigned char { Packet, LinkUp, LinkEnd, State, Note };
enum class ERecordOrder : unsigned char { Little, Big, Unknown };

struct TRecordHead {
  std::uint32_t length = 0;
  ERecord kind = ERecord::Packet;
  bool fromServer = false;
  ERecordOrder order = ERecordOrder::Unknown;
  std::uint32_t link = 1;
  std::int32_t state = 0;
  std::int64_t monotonicNs = 0;
  std::int64_t wallNs = 0;
};

using TRecordHeadBytes = std::array<char, 32>;

template <class TNumber>
void PutRecorded(TRecordHeadBytes& bytes, std::size_t at, TNumber number) {
  const auto value = static_cast<std::uint64_t>(number);
  for (std::size_t i = 0; i < sizeof number; ++i) bytes[at + i] = static_cast<char>(value >> (8 * i) & 0xFF);
}

template <class TNumber>
void GetRecorded(const TRecordHeadBytes& bytes, std::size_t at, TNumber& number) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < sizeof number; ++i)
    value |= static_cast<std::uint64_t>(static_cast<unsigned char>(bytes[at + i])) << (8 * i);
  number = static_cast<TNumber>(value);
}

inline TRecordHeadBytes WriteRecordHead(const TRecordHead& head) {
  TRecordHeadBytes bytes{};
  PutRecorded(bytes, 0, head.length);
  bytes[4] = static_cast<char>(head.kind);
  bytes[5] = head.fromServer ? 1 : 0;
  bytes[6] = static_cast<char>(head.order);
  PutRecorded(bytes, 8, head.link);
  PutRecorded(bytes, 12, head.state);
  PutRecorded(bytes, 16, head.monotonicNs);
  PutRecorded(bytes, 24, head.wallNs);
  return bytes;
}

// Empty if the bytes are not a valid head.
inline std::optional<TRecordHead> ReadRecordHead(const TRecordHeadBytes& bytes) {
  TRecordHead head;
  GetRecorded(bytes, 0, head.length);
  const auto [kind, sender, order] = std::array{bytes[4], bytes[5], bytes[6]};
  if (head.length > kMostRecordBytes || bytes[7] != 0) return {};
  if (kind < 0 || kind > static_cast<char>(ERecord::Note) || sender < 0 || sender > 1) return {};
  if (order < 0 || order > static_cast<char>(ERecordOrder::Unknown)) return {};
  head.kind = static_cast<ERecord>(kind);
  head.fromServer = sender == 1;
  head.order = static_cast<ERecordOrder>(order);
  GetRecorded(bytes, 8, head.link);
  GetRecorded(bytes, 12, head.state);
  GetRecorded(bytes, 16, head.monotonicNs);
  GetRecorded(bytes, 24, head.wallNs);
  return head;
}

}  // namespace VekApi
