// The TCP segment in a captured frame: Ethernet, Linux cooked, raw IP, loopback; IPv4 and IPv6.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "vekdump/Captures.h"

namespace VekDump {

struct Endpoint {
  std::array<char, 16> address{};  // an IPv4 address has four bytes
  bool isV6 = false;
  std::uint16_t port = 0;

  auto operator<=>(const Endpoint&) const = default;
  std::string Text() const;  // "10.0.0.1:9000", "[2001:db8:0:0:0:0:0:1]:9000"
};

struct Segment {
  Endpoint from;
  Endpoint to;
  std::uint32_t sequence;
  std::uint32_t acknowledged;
  bool syn, fin, reset, ack;
  std::string_view bytes;  // the captured part
  std::uint32_t length;    // on the wire
};

// Nothing if the frame contains no segment, or only part of its headers.
std::optional<Segment> ReadFrame(const Frame& frame);

// Link types that ReadFrame supports.
bool KnowsLinkType(std::uint32_t linkType);

}  // namespace VekDump
