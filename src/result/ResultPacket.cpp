#include "result/ResultPacket.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "protocol/Packet.h"
#include "result/EncodingLine.h"
#include "result/Lines.h"

namespace VekApi {
namespace {

constexpr std::size_t kWorkIdLengthAt = 5;
constexpr std::uint32_t kLongText = 0xFFFF;  // as a 16-bit length: a 32-bit length follows

// Reads the length in front of a text. False if the packet ends before it.
bool TakeTextLength(std::string_view& bytes, EVekEndian endian, std::size_t& length) {
  if (bytes.size() < 2) return false;
  length = GetU16(bytes.data(), endian);
  bytes.remove_prefix(2);
  if (length != kLongText) return true;
  if (bytes.size() < 4) return false;
  length = GetU32(bytes.data(), endian);
  bytes.remove_prefix(4);
  return true;
}

}  // namespace

TResultPacket ReadResultPacket(std::string_view packet, EVekEndian endian, TWork& work) {
  TResultPacket result;
  if (packet.size() <= kWorkIdLengthAt) return result;
  packet.remove_prefix(kWorkIdLengthAt);
  const std::size_t workIdLength = Byte(packet[0]);
  packet.remove_prefix(1);
  if (packet.size() <= workIdLength) return result;
  result.workId = packet.substr(0, workIdLength);
  packet.remove_prefix(workIdLength);
  std::size_t textLength = 0;
  if (!TakeTextLength(packet, endian, textLength)) return result;

  // The first line end is searched in the whole packet, even beyond the announced length of the text.
  const std::size_t lineEnd = LineEnd(packet, 0, work);
  if (lineEnd == packet.size() || packet[lineEnd] == '\0') return result;
  const std::string_view line = packet.substr(0, lineEnd);
  result.text = packet.substr(0, textLength);
  if (!IsEncodingLine(line)) return result;
  result.text.remove_prefix(std::min(lineEnd + 1, result.text.size()));
  result.isUtf8 = SaysUtf(line);
  return result;
}

}  // namespace VekApi
