#pragma once

#include <string>

namespace VekApi {

// The connect request, the first packet of a session: header (code 0), byte 3 zero, 4-7 the byte-order probe
// 0x12345678, 8-15 four version numbers, 16 length of the application name, 18-19 length of the client kind
// line; from 20 the name and the line "VekSocketClient\n". All numbers are little-endian. Returns false if
// the name makes the packet too long.
bool MakeConnectRequest(std::string& packet, const std::string& apName, const std::string& apVersion);

}  // namespace VekApi
