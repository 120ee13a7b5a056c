#include "protocol/Hello.h"

#include <array>
#include <cstdint>
#include <string_view>

#include "protocol/Packet.h"
#include "vekapi/VekClient.h"

namespace VekApi {
namespace {

constexpr std::string_view kClientKind = "VekSocketClient\n";
constexpr std::size_t kNameAt = 20;

bool IsBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}
bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// Takes a decimal number off the front, and the one character behind it, whatever it is. Larger numbers wrap.
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

bool MakeHello(std::string& packet, const std::string& apName, const std::string& apVersion) {
  // Longer names are refused before their length is made an int.
  if (apName.size() > kMaxBuilt) return false;
  std::string hello;
  if (!VekClient::MakePkBuffer(hello, PkConnect,
                               static_cast<int>(kNameAt + apName.size() + kClientKind.size()))) {
    return false;
  }
  PutU16(&hello[4], kByteOrderProbe & 0xFFFF, vek_LittleEndian);
  PutU16(&hello[6], kByteOrderProbe >> 16, vek_LittleEndian);
  std::string_view version(apVersion.c_str());
  for (std::size_t at = 8; at < 16; at += 2) PutU16(&hello[at], TakeNumber(version), vek_LittleEndian);
  hello[16] = static_cast<char>(apName.size());
  PutU16(&hello[18], kClientKind.size(), vek_LittleEndian);
  hello.replace(kNameAt, apName.size(), apName);
  hello.replace(kNameAt + apName.size(), kClientKind.size(), kClientKind);
  packet = std::move(hello);
  return true;
}

}  // namespace VekApi
