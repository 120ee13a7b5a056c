#include "sim/SimWire.h"

#include <algorithm>

namespace VekSim {

namespace {

char Low(unsigned value) {
  return static_cast<char>(value & 0xFF);
}

unsigned At(std::string_view bytes, std::size_t i) {
  return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0;
}

std::string Item(const SimItem& item, ByteOrder order) {
  return Low(static_cast<unsigned>(item.tag.size())) + U16(static_cast<unsigned>(item.data.size()), order) +
         item.tag + item.data;
}

}  // namespace

std::string U16(unsigned value, ByteOrder order) {
  std::string bytes{Low(value), Low(value >> 8)};
  if (order == ByteOrder::Big) std::reverse(bytes.begin(), bytes.end());
  return bytes;
}

std::string U32(std::uint32_t value, ByteOrder order) {
  std::string bytes{Low(value), Low(value >> 8), Low(value >> 16), Low(value >> 24)};
  if (order == ByteOrder::Big) std::reverse(bytes.begin(), bytes.end());
  return bytes;
}

unsigned ReadU16(std::string_view bytes, std::size_t at, ByteOrder order) {
  const unsigned first = At(bytes, at), second = At(bytes, at + 1);
  return order == ByteOrder::Big ? first * 256 + second : second * 256 + first;
}

std::string Head(int code, std::size_t length) {
  const unsigned c = static_cast<unsigned>(code), n = static_cast<unsigned>(length);
  return {Low(n), Low(((c >> 4) & 0xF0) | ((n >> 8) & 0x0F)), Low(c)};
}

int CodeOf(std::string_view packet) {
  return static_cast<int>((At(packet, 1) & 0xF0) * 16 + At(packet, 2));
}

std::size_t LengthOf(std::string_view packet) {
  return (At(packet, 1) & 0x0F) * 256 + At(packet, 0);
}

std::string Packet(int code, std::string_view body) {
  body = body.substr(0, kMaxPacket - kHeadSize);
  return Head(code, kHeadSize + body.size()).append(body);
}

std::string TextPacket(int code, std::string_view text, ByteOrder order) {
  text = text.substr(0, kMaxPieceBody);
  return Packet(code, U16(static_cast<unsigned>(text.size()), order).append(text));
}

std::vector<std::string> TextPackets(int code, std::string_view text, ByteOrder order,
                                     std::size_t pieceSize) {
  pieceSize = std::clamp<std::size_t>(pieceSize, 1, kMaxPieceBody);
  std::vector<std::string> packets;
  for (; text.size() > pieceSize; text.remove_prefix(pieceSize)) {
    packets.push_back(TextPacket(Code::kPiece, text.substr(0, pieceSize), order));
  }
  packets.push_back(TextPacket(code, text, order));
  return packets;
}

std::string_view TextOf(std::string_view packet, ByteOrder order) {
  if (packet.size() < kPrefixSize) return {};
  return packet.substr(kPrefixSize, ReadU16(packet, kHeadSize, order));
}

void Scramble(std::string& packet, std::string_view key) {
  if (key.empty()) return;
  for (std::size_t i = kHeadSize; i < packet.size(); ++i) {
    packet[i] = static_cast<char>(packet[i] ^ key[(i - kHeadSize) % key.size()]);
  }
}

SimItem EncItem(int mode, std::string_view key) {
  key = key.substr(0, 255);
  std::string data{Low(static_cast<unsigned>(mode)), Low(static_cast<unsigned>(key.size()))};
  return {"VekEnc\n", data.append(key)};
}

SimItem ErrorItem(std::string reason) {
  return {"ERROR\n", std::move(reason)};
}

std::string ConnectResult(const ConnectAnswer& answer, ByteOrder order) {
  std::string items;
  for (const SimItem& item : answer.items) items += Item(item, order);
  std::string body{Low(static_cast<unsigned>(answer.outcome))};
  body += U32(0x12345678, order);
  for (const unsigned number : answer.version) body += U16(number, order);
  body += Low(static_cast<unsigned>(answer.name.size()));
  body += '\0';
  body += U16(static_cast<unsigned>(items.size()), order) + answer.name + items;
  return Packet(Code::kConnect, body);
}

std::string SignOnReply(std::uint32_t number, std::string_view lead, std::string_view message,
                        ByteOrder order) {
  lead = lead.substr(0, 255);
  std::string body{'\2', Low(static_cast<unsigned>(lead.size()))};
  body += U16(static_cast<unsigned>(message.size()), order) + U32(number, order);
  return Packet(Code::kSession, body.append(lead).append(message));
}

std::string PassResult(std::string_view user, std::string_view message) {
  user = user.substr(0, 255);
  message = message.substr(0, 255);
  std::string body{'\1', Low(static_cast<unsigned>(user.size())), Low(static_cast<unsigned>(message.size()))};
  return Packet(Code::kSession, body.append(user).append(message));
}

std::string TaskBody(std::string_view workId, std::string_view text, ByteOrder order) {
  workId = workId.substr(0, 255);
  std::string body{Low(static_cast<unsigned>(workId.size()))};
  body.append(workId);
  if (text.size() < 0xFFFF) {
    body += U16(static_cast<unsigned>(text.size()), order);
  } else {
    body += U16(0xFFFF, order) + U32(static_cast<std::uint32_t>(text.size()), order);
  }
  return body.append(text);
}

std::optional<ConnectRequest> ReadConnect(std::string_view packet) {
  if (packet.size() < 20) return {};
  ConnectRequest request;
  for (std::size_t i = 0; i < 4; ++i) {
    request.version[i] = static_cast<std::uint16_t>(ReadU16(packet, 8 + 2 * i, ByteOrder::Little));
  }
  const std::size_t name = At(packet, 16), kind = ReadU16(packet, 18, ByteOrder::Little);
  if (packet.size() < 20 + name + kind) return {};
  request.name = packet.substr(20, name);
  // Located from the end: for a name of 256 bytes or more the length field has only the low eight bits.
  request.kindLine = packet.substr(packet.size() - kind);
  return request;
}

std::optional<SignOnRequest> ReadSignOn(std::string_view packet) {
  const std::size_t a = At(packet, 4), b = At(packet, 7);
  if (packet.size() < 12 + a + b) return {};
  return SignOnRequest{std::string(packet.substr(12, a)), std::string(packet.substr(12 + a, b))};
}

std::optional<PassRequest> ReadPass(std::string_view packet) {
  const std::size_t x = At(packet, 4), y = At(packet, 5), z = At(packet, 6);
  if (packet.size() < 7 + x + y + z) return {};
  return PassRequest{std::string(packet.substr(7, x)), std::string(packet.substr(7 + x, y)),
                     std::string(packet.substr(7 + x + y, z))};
}

std::string Masked(std::string_view packet) {
  constexpr std::string_view kStars = "********";
  constexpr std::size_t kSignOnTexts = 12, kPassTexts = 7;
  const char eight = static_cast<char>(kStars.size());
  const int kind = packet.size() > kHeadSize ? packet[kHeadSize] : -1;
  std::string body(kStars);
  if (const auto request = ReadSignOn(packet); kind == 0 && request) {
    body.insert(0, packet.substr(kHeadSize, kSignOnTexts - kHeadSize + request->identity.size()));
    body[7 - kHeadSize] = eight;
  } else if (const auto change = ReadPass(packet); kind == 1 && change) {
    body.insert(0, packet.substr(kHeadSize, kPassTexts - kHeadSize + change->user.size())).append(kStars);
    body[5 - kHeadSize] = body[6 - kHeadSize] = eight;
  }
  return Packet(Code::kSession, body);
}

std::optional<std::string> PacketCutter::Next() {
  const std::string_view rest = std::string_view(tail_).substr(start_);
  if (broken_ || rest.size() < kHeadSize) return {};
  const std::size_t length = LengthOf(rest);
  broken_ = length < kHeadSize;
  if (broken_ || rest.size() < length) return {};
  std::string packet(rest.substr(0, length));
  start_ += length;
  if (start_ == tail_.size() || start_ > 65536) {  // not per packet: a block may contain thousands
    tail_.erase(0, start_);
    start_ = 0;
  }
  return packet;
}

}  // namespace VekSim
