#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace VekApi {

// The connect request, the first packet of a session: header (code 0), byte 3 zero, 4-7 the byte-order probe
// 0x12345678, 8-15 four version numbers, 16 length of the application name, 18-19 length of the client kind
// line; from 20 the name and the line "VekSocketClient\n". All numbers are little-endian. Returns false if
// the name makes the packet too long.
bool MakeConnectRequest(std::string& packet, const std::string& apName, const std::string& apVersion);

inline constexpr std::string_view kClientKind = "VekSocketClient\n";

struct TConnectRequest {
  std::string_view name;
  std::array<std::uint16_t, 4> version;
  std::string_view kind;  // with its line end
};

// Whether a packet, judged by as much of its start as is there, may be a connect request. A connect result
// may start the same way; only the client kind line tells them apart.
bool MayBeConnectRequest(std::string_view start);

// Empty if the packet is shorter than its fixed part.
std::optional<TConnectRequest> ReadConnectRequest(std::string_view packet);

}  // namespace VekApi
