#include "protocol/PasswordChange.h"

#include "protocol/PacketReader.h"

namespace VekApi {
namespace {

constexpr int kPasswordChangeTextsAt = 7;

}  // namespace

TSecretPacket MakeChgPassRequest(const std::string& user, const std::string& oldPass,
                                 const std::string& newPass) {
  TSecretPacket packet(PkSession, kPasswordChangeTextsAt + user.size() + oldPass.size() + newPass.size());
  if (!packet) return packet;
  packet.SetSubcode(PkSessionChgPass);
  std::size_t lengthAt = 4;
  std::size_t textAt = kPasswordChangeTextsAt;
  for (const std::string* text : {&user, &oldPass, &newPass}) {
    packet.SetLength(lengthAt++, *text);
    packet.Put(textAt, *text);
    textAt += text->size();
  }
  return packet;
}

std::string_view ReadChgPassUser(const char* packet, int length) {
  if (length < kPasswordChangeTextsAt) return {};
  return TPacketReader(packet, length, kPasswordChangeTextsAt, vek_LittleEndian).Text(Byte(packet[4]));
}

std::optional<TChgPassResult> ReadChgPassResult(const char* packet, int length, EVekEndian endian) {
  constexpr int kTextsAt = 6;
  if (length < kTextsAt) return {};
  TPacketReader texts(packet, length, kTextsAt, endian);
  const std::string_view user = texts.Text(Byte(packet[4]));
  return TChgPassResult{user, texts.Text(Byte(packet[5]))};
}

}  // namespace VekApi
