#include "protocol/ConnectRequest.h"

#include <algorithm>
#include <utility>

#include "protocol/PacketReader.h"

namespace VekApi {
namespace {

constexpr std::size_t kNameAt = 20;
constexpr unsigned kByteOrderProbe = 0x12345678;

bool IsBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

// Removes a decimal number and the one character after it, whatever it is, from the front. Larger numbers
// wrap.
std::uint16_t TakeNumber(std::string_view& text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  unsigned value = 0;
  for (; !text.empty() && IsDigit(text.front()); text.remove_prefix(1)) {
    value = value * 10 + static_cast<unsigned>(text.front() - '0');
  }
  if (!text.empty()) text.remove_prefix(1);
  return static_cast<std::uint16_t>(value);
}

}  // namespace

bool MakeConnectRequest(std::string& packet, const std::string& apName, const std::string& apVersion) {
  const std::size_t length = kNameAt + apName.size() + kClientKind.size();
  if (length > kMaxBuilt) return false;
  std::string made(length, '\0');
  PutHead(made.data(), PkConnect, static_cast<int>(length));
  PutU16(&made[4], kByteOrderProbe & 0xFFFF, vek_LittleEndian);
  PutU16(&made[6], kByteOrderProbe >> 16, vek_LittleEndian);
  std::string_view version(apVersion.c_str());
  for (std::size_t at = 8; at < 16; at += 2) PutU16(&made[at], TakeNumber(version), vek_LittleEndian);
  made[16] = static_cast<char>(apName.size());
  PutU16(&made[18], kClientKind.size(), vek_LittleEndian);
  made.replace(kNameAt, apName.size(), apName);
  made.replace(kNameAt + apName.size(), kClientKind.size(), kClientKind);
  packet = std::move(made);
  return true;
}

bool MayBeConnectRequest(std::string_view start) {
  char fixed[8] = {};  // code, byte 3 and the probe
  PutU16(&fixed[4], kByteOrderProbe & 0xFFFF, vek_LittleEndian);
  PutU16(&fixed[6], kByteOrderProbe >> 16, vek_LittleEndian);
  if (start.size() > 1 && (start[1] & 0xF0) != 0) return false;
  for (std::size_t at = 2; at < std::min(start.size(), sizeof fixed); ++at) {
    if (start[at] != fixed[at]) return false;
  }
  return true;
}

std::optional<TConnectRequest> ReadConnectRequest(std::string_view packet) {
  if (packet.size() < kNameAt) return {};
  TPacketReader texts(packet.data(), static_cast<int>(packet.size()), kNameAt, vek_LittleEndian);
  TConnectRequest request{texts.Text(Byte(packet[16])), {}, {}};
  request.kind = texts.Text(GetU16(&packet[18], vek_LittleEndian));
  for (std::size_t i = 0; i < request.version.size(); ++i)
    request.version[i] = GetU16(&packet[8 + 2 * i], vek_LittleEndian);
  return request;
}

}  // namespace VekApi
