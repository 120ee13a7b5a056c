#include "protocol/ConnectResult.h"

#include <algorithm>

#include "protocol/PacketReader.h"

namespace VekApi {
namespace {

constexpr int kConnectResultBytes = 20;
constexpr int kVersionAt = 8;
constexpr int kNameLengthAt = 16;
constexpr int kItemsLengthAt = 18;
constexpr char kRefused = 1;

// An item whose length is not beyond its own head, or exceeds the rest of the packet, ends the list.
constexpr std::size_t kItemHeadBytes = 3;

struct TItem {
  std::string_view tag;
  std::string_view data;
};

std::optional<TItem> NextItem(TPacketReader& items) {
  if (items.Left() <= kItemHeadBytes) return {};
  const std::size_t tagLength = items.U8();
  const std::size_t dataLength = items.U16();
  if (tagLength + dataLength > items.Left()) return {};
  const std::string_view tag = items.Text(tagLength);
  return TItem{tag, items.Text(dataLength)};
}

std::string ServerNameOf(const char* packet, int length, EVekEndian endian) {
  TPacketReader name(packet, length, kConnectResultBytes, endian);
  std::string text(name.Text(Byte(packet[kNameLengthAt])));
  for (int at = kVersionAt; at < kNameLengthAt; at += 2)
    text += '.' + std::to_string(GetU16(packet + at, endian));
  return text;
}

// Independent of the signedness of char.
int SignedByte(char c) {
  return c & 0x80 ? static_cast<int>(Byte(c)) - 0x100 : static_cast<int>(Byte(c));
}

TPacketReader ItemsOf(const char* packet, int length, EVekEndian endian) {
  const int itemsAt = kConnectResultBytes + static_cast<int>(Byte(packet[kNameLengthAt]));
  const int itemsEnd = itemsAt + GetU16(packet + kItemsLengthAt, endian);
  return {packet, std::min(itemsEnd, length), itemsAt, endian};
}

}  // namespace

std::optional<TConnectResult> ReadConnectResult(const char* packet, int length) {
  if (length < kConnectResultBytes) return {};
  const EVekEndian endian = packet[4] == 'x' ? vek_LittleEndian : vek_BigEndian;
  TConnectResult result{ServerNameOf(packet, length, endian), {}, {}, 0, {}};
  TPacketReader items = ItemsOf(packet, length, endian);
  while (const auto item = NextItem(items)) {
    if (item->tag == "ERROR\n" && packet[3] == kRefused) {
      result.refusal = std::string(item->data);
      break;
    }
    if (item->tag == "VekEnc\n" && item->data.size() >= 2 && 2 + Byte(item->data[1]) <= item->data.size()) {
      result.mode = SignedByte(item->data[0]);
      result.key = item->data.substr(2, Byte(item->data[1]));
    }
  }
  result.cipher = TCipher(endian, result.mode, result.key);
  return result;
}

}  // namespace VekApi
