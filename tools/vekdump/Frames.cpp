#include "vekdump/Frames.h"

#include <fmt/core.h>

#include <algorithm>

#include "vekdump/Numbers.h"

namespace VekDump {
namespace {

enum LinkType : std::uint32_t {
  kNull = 0,
  kEthernet = 1,
  kRawOpenBsd = 12,
  kRawOther = 14,
  kRaw = 101,
  kLoop = 108,
  kCooked = 113,
  kIpv4 = 228,
  kIpv6 = 229,
  kCooked2 = 276,
};
constexpr unsigned kTcp = 6;
constexpr unsigned kVlan = 0x8100;
constexpr unsigned kProviderVlan = 0x88A8;

std::string_view From(std::string_view bytes, std::size_t at) {
  return bytes.substr(std::min(at, bytes.size()));
}

// What follows an Ethernet type; VLAN tags may come first.
std::string_view BehindType(std::string_view bytes, std::size_t typeAt) {
  while (bytes.size() >= typeAt + 4 && (U16(bytes, typeAt) == kVlan || U16(bytes, typeAt) == kProviderVlan))
    typeAt += 4;
  return From(bytes, typeAt + 2);
}

// The IP packet; its version field tells IPv4 from IPv6.
std::string_view IpOf(const Frame& frame) {
  switch (frame.linkType) {
    case kNull:
    case kLoop:
      return From(frame.bytes, 4);
    case kEthernet:
      return BehindType(frame.bytes, 12);
    case kCooked:
      return BehindType(frame.bytes, 14);
    case kCooked2:
      return From(frame.bytes, 20);
    default:
      return KnowsLinkType(frame.linkType) ? frame.bytes : std::string_view();
  }
}

Endpoint EndpointOf(std::string_view address, unsigned port) {
  Endpoint made;
  std::copy(address.begin(), address.end(), made.address.begin());
  made.isV6 = address.size() == made.address.size();
  made.port = static_cast<std::uint16_t>(port);
  return made;
}

// `length` is the TCP length according to the IP packet.
std::optional<Segment> ReadTcp(std::string_view tcp, std::size_t length, std::string_view source,
                               std::string_view target) {
  constexpr std::size_t kFixed = 20;
  if (tcp.size() < kFixed) return {};
  const std::size_t head = (U8(tcp, 12) >> 4) * std::size_t{4};
  if (head < kFixed || head > length) return {};
  const unsigned flags = U8(tcp, 13);
  Segment made{EndpointOf(source, U16(tcp, 0)),
               EndpointOf(target, U16(tcp, 2)),
               U32(tcp, 4),
               U32(tcp, 8),
               (flags & 0x02) != 0,
               (flags & 0x01) != 0,
               (flags & 0x04) != 0,
               (flags & 0x10) != 0,
               From(tcp, head),
               static_cast<std::uint32_t>(length - head)};
  made.bytes = made.bytes.substr(0, made.length);
  return made;
}

// A packet captured before the card segments it may state a length of 0.
std::size_t LengthOr(std::size_t stated, std::size_t there) {
  return stated == 0 ? there : stated;
}

std::optional<Segment> ReadV4(std::string_view ip) {
  constexpr std::size_t kFixed = 20;
  if (ip.size() < kFixed || U8(ip, 9) != kTcp || (U16(ip, 6) & 0x3FFF) != 0) return {};
  const std::size_t head = (U8(ip, 0) & 0x0F) * std::size_t{4};
  const std::size_t total = LengthOr(U16(ip, 2), ip.size());
  if (head < kFixed || head > total) return {};
  return ReadTcp(From(ip, head).substr(0, total - head), total - head, ip.substr(12, 4), ip.substr(16, 4));
}

bool IsExtension(unsigned next) {
  constexpr unsigned kHopByHop = 0, kRouting = 43, kDestination = 60;
  return next == kHopByHop || next == kRouting || next == kDestination;
}

std::optional<Segment> ReadV6(std::string_view ip) {
  constexpr std::size_t kFixed = 40;
  if (ip.size() < kFixed) return {};
  unsigned next = U8(ip, 6);
  std::string_view rest = ip.substr(kFixed);
  std::size_t length = LengthOr(U16(ip, 4), rest.size());
  rest = rest.substr(0, length);
  while (IsExtension(next) && rest.size() >= 2) {
    const std::size_t size = (U8(rest, 1) + 1) * std::size_t{8};
    if (size > length) return {};
    next = U8(rest, 0);
    length -= size;
    rest = From(rest, size);
  }
  if (next != kTcp) return {};
  return ReadTcp(rest, length, ip.substr(8, 16), ip.substr(24, 16));
}

}  // namespace

bool KnowsLinkType(std::uint32_t linkType) {
  constexpr std::uint32_t kKnown[] = {kNull, kEthernet, kRawOpenBsd, kRawOther, kRaw,
                                      kLoop, kCooked,   kIpv4,       kIpv6,     kCooked2};
  return std::find(std::begin(kKnown), std::end(kKnown), linkType) != std::end(kKnown);
}

std::optional<Segment> ReadFrame(const Frame& frame) {
  const std::string_view ip = IpOf(frame);
  if (ip.empty()) return {};
  if (U8(ip, 0) >> 4 == 4) return ReadV4(ip);
  if (U8(ip, 0) >> 4 == 6) return ReadV6(ip);
  return {};
}

std::string Endpoint::Text() const {
  const std::string_view bytes(address.data(), address.size());
  if (!isV6)
    return fmt::format("{}.{}.{}.{}:{}", U8(bytes, 0), U8(bytes, 1), U8(bytes, 2), U8(bytes, 3), port);
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); at += 2)
    text += fmt::format("{}{:x}", at == 0 ? "[" : ":", U16(bytes, at));
  return text + fmt::format("]:{}", port);
}

}  // namespace VekDump
