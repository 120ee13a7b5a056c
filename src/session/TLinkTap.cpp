// What a link shows its tap. A call of the tap may end the link and delete its client, so after each call
// Over() is checked before anything else is touched.
#include <algorithm>
#include <new>
#include <string>
#include <utility>

#include "protocol/ConnectResult.h"
#include "protocol/Masked.h"
#include "protocol/RequestPrefix.h"
#include "session/TLink.h"

namespace VekApi {
namespace {

ERecordOrder RecordOrder(EVekEndian endian) {
  return endian == vek_LittleEndian ? ERecordOrder::Little : ERecordOrder::Big;
}

}  // namespace

ERecordOrder TLink::OrderOf(const TCipher& cipher) const {
  return knowsOrder_.load(std::memory_order_relaxed) ? RecordOrder(cipher.Endian()) : ERecordOrder::Unknown;
}

bool TLink::TapOne(ERecordOrder order, bool fromServer, std::string_view packet) {
  if (Over()) return false;
  if (const auto tap = impl_.Tap().Get()) tap->OnPacket({number_, fromServer, order, packet});
  return !Over();
}

// The connect request is always little-endian, whatever the server uses; heartbeats contain no numbers.
bool TLink::TapOwn(std::string_view packet) {
  return TapOne(ERecordOrder::Little, false, packet);
}

// The connect result states its own byte order.
void TLink::OnPacket(const char* packet, int length) {
  ERecordOrder order = OrderOf(packets_.Cipher());
  if (PkCode(packet) == PkConnect) {
    if (const auto result = ReadConnectResult(packet, length)) order = RecordOrder(result->cipher.Endian());
  }
  TapOne(order, true, {packet, static_cast<std::size_t>(length)});
}

void TLink::TapSent(const TCipher& cipher, std::string_view bytes) noexcept try {
  while (bytes.size() >= kHeadBytes) {
    const auto length = static_cast<std::size_t>(PkLength(bytes.data()));
    if (length < kHeadBytes || length > bytes.size()) break;
    const std::string_view packet = bytes.substr(0, length);
    const bool secret = MayHoldPassword(packet);
    if (!TapOne(OrderOf(cipher), false, secret ? MaskPasswords(packet, true) : packet)) return;
    bytes.remove_prefix(length);
  }
  if (bytes.empty()) return;
  const auto tap = impl_.Tap().Get();
  if (tap) tap->OnNote(number_, std::to_string(bytes.size()) + " bytes to be sent that are no packet");
} catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch): sent without being shown
}

void TLink::TapRequest(const TCipher& cipher, int msgCode, std::string_view text) noexcept try {
  std::string packet;
  for (bool more = true; more && !text.empty();) {
    const std::string_view piece = text.substr(0, kMaxPiece);
    text.remove_prefix(piece.size());
    packet.assign(kPrefixBytes, '\0').append(piece);
    PutHead(packet.data(), text.empty() ? msgCode : PkBigPart, static_cast<int>(packet.size()));
    PutU16(packet.data() + kHeadBytes, piece.size(), cipher.Endian());
    more = TapOne(OrderOf(cipher), false, packet);
  }
} catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch): sent without being shown
}

void TLink::TapRefused() noexcept {
  if (Over()) return;
  if (const auto tap = impl_.Tap().Get()) tap->OnNote(number_, "not sent: the link did not take it");
}

bool TLink::TapState(EVekClientState state, std::string_view reason) {
  if (const auto tap = impl_.Tap().Get()) tap->OnLinkState(number_, state, reason);
  return !Over();
}

void TLink::TapEnd(EVekClientState state, std::string_view reason) {
  if (!std::exchange(endTapped_, true)) TapState(state, reason);
}

}  // namespace VekApi
