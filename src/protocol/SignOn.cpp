#include "protocol/SignOn.h"

#include "protocol/PacketReader.h"

namespace VekApi {

namespace {

constexpr int kSignOnTextsAt = 12;

}  // namespace

TSecretPacket MakeSignOnRequest(const std::string& identity, const std::string& password) {
  TSecretPacket packet(PkSession, kSignOnTextsAt + identity.size() + password.size());
  if (!packet) return packet;
  packet.SetSubcode(PkSessionSignOn);
  packet.SetLength(4, identity);
  packet.SetLength(7, password);
  packet.Put(kSignOnTextsAt, identity);
  packet.Put(kSignOnTextsAt + identity.size(), password);
  return packet;
}

std::string_view ReadSignOnIdentity(const char* packet, int length) {
  if (length < kSignOnTextsAt) return {};
  return TPacketReader(packet, length, kSignOnTextsAt, vek_LittleEndian).Text(Byte(packet[4]));
}

std::optional<TSignOnReply> ReadSignOnReply(const char* packet, int length, EVekEndian endian) {
  constexpr int kTextsAt = 11;
  if (length < kTextsAt) return {};
  TPacketReader texts(packet, length, kTextsAt, endian);
  texts.Text(Byte(packet[4]));
  return TSignOnReply{GetU32(packet + 7, endian), texts.Text(GetU16(packet + 5, endian))};
}

}  // namespace VekApi
