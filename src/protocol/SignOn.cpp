#include "protocol/SignOn.h"

#include "protocol/PacketReader.h"

namespace VekApi {

TSecretPacket MakeSignOnRequest(const std::string& identity, const std::string& password) {
  constexpr std::size_t kTextsAt = 12;
  TSecretPacket packet(PkSession, kTextsAt + identity.size() + password.size());
  if (!packet) return packet;
  packet.SetSubcode(PkSessionSignOn);
  packet.SetLength(4, identity);
  packet.SetLength(7, password);
  packet.Put(kTextsAt, identity);
  packet.Put(kTextsAt + identity.size(), password);
  return packet;
}

std::optional<TSignOnReply> ReadSignOnReply(const char* packet, int length, EVekEndian endian) {
  constexpr int kTextsAt = 11;
  if (length < kTextsAt) return {};
  TPacketReader texts(packet, length, kTextsAt, endian);
  texts.Text(Byte(packet[4]));
  return TSignOnReply{GetU32(packet + 7, endian), texts.Text(GetU16(packet + 5, endian))};
}

}  // namespace VekApi
