#include "protocol/Masked.h"

#include "protocol/Packet.h"

namespace VekApi {
namespace {

constexpr std::string_view kStars = "********";
constexpr std::size_t kUserLengthAt = 4;

// Where a request stores its texts: a name, followed by passwords.
struct TLayout {
  EPkSessionSubcode subcode;
  std::size_t textsAt;
  std::string_view passwordLengthsAt;
};
constexpr TLayout kLayouts[] = {{PkSessionSignOn, 12, "\x07"}, {PkSessionChgPass, 7, "\x05\x06"}};

bool Fits(std::string_view packet, const TLayout& layout) {
  if (packet.size() < layout.textsAt || packet[kHeadBytes] != layout.subcode) return false;
  std::size_t texts = Byte(packet[kUserLengthAt]);
  for (const char at : layout.passwordLengthsAt) texts += Byte(packet[Byte(at)]);
  return layout.textsAt + texts <= packet.size();
}

std::string MaskTexts(std::string_view packet, const TLayout& layout) {
  const std::size_t name = Byte(packet[kUserLengthAt]);
  std::string masked(packet.substr(0, layout.textsAt + name));
  for (const char at : layout.passwordLengthsAt) {
    masked[Byte(at)] = static_cast<char>(kStars.size());
    masked += kStars;
  }
  return masked;
}

}  // namespace

bool MayHoldPassword(std::string_view packet) {
  return packet.size() > kHeadBytes && PkCode(packet.data()) == PkSession;
}

std::string MaskPasswords(std::string_view packet, bool known) {
  std::string masked(packet.substr(0, kHeadBytes));
  masked += kStars;
  for (const TLayout& layout : kLayouts) {
    if (known && Fits(packet, layout)) masked = MaskTexts(packet, layout);
  }
  PutHead(masked.data(), PkCode(packet.data()), static_cast<int>(masked.size()));
  return masked;
}

}  // namespace VekApi
