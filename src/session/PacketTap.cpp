#include <algorithm>
#include <new>
#include <string>

#include "protocol/Masked.h"
#include "protocol/RequestPrefix.h"
#include "session/TPacketTap.h"

namespace VekApi {
namespace {

void TapOne(TPacketTap& tap, TTapped about, std::string_view packet) {
  std::string masked;
  if (MayHoldPassword(packet)) packet = masked = MaskPasswords(packet, true);
  about.packet = packet;
  tap.OnPacket(about);
}

}  // namespace

void TapSent(TPacketTap& tap, TTapped about, std::string_view bytes) noexcept try {
  while (bytes.size() >= kHeadBytes) {
    const auto length = static_cast<std::size_t>(PkLength(bytes.data()));
    if (length < kHeadBytes || length > bytes.size()) break;
    TapOne(tap, about, bytes.substr(0, length));
    bytes.remove_prefix(length);
  }
  if (!bytes.empty()) tap.OnNote(about.link, std::to_string(bytes.size()) + " bytes sent that are no packet");
} catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch): it is sent untold
}

void TapRequest(TPacketTap& tap, TTapped about, int msgCode, std::string_view text) noexcept try {
  const EVekEndian endian = about.order == ERecordOrder::Big ? vek_BigEndian : vek_LittleEndian;
  std::string packet;
  while (!text.empty()) {
    const std::string_view piece = text.substr(0, kMaxPiece);
    text.remove_prefix(piece.size());
    packet.assign(kPrefixBytes, '\0').append(piece);
    PutHead(packet.data(), text.empty() ? msgCode : PkBigPart, static_cast<int>(packet.size()));
    PutU16(packet.data() + kHeadBytes, piece.size(), endian);
    TapOne(tap, about, packet);
  }
} catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch): it is sent untold
}

}  // namespace VekApi
