// Sending, on any thread.
#include <algorithm>
#include <new>

#include "protocol/Packet.h"
#include "session/TImpl.h"
#include "session/TLink.h"

namespace VekApi {
namespace {

constexpr unsigned kMaxRequest = 1u << 30;

// The pieces are handed over together, so that nothing of another thread can come between them and the
// messenger takes all of them or none. The head of each is written over the end of the one before, which is
// copied out by then. False, with the buffer untouched, when there is no memory.
bool FrameInPieces(const TCipher& cipher, int msgCode, char* buffer, std::size_t textLength,
                   std::string& wire) {
  try {
    wire.reserve(textLength + (textLength / kMaxPiece + 1) * kPrefixBytes);
  } catch (const std::bad_alloc&) {
    return false;
  }
  for (std::size_t left = textLength; left != 0;) {
    const std::size_t piece = std::min<std::size_t>(left, kMaxPiece);
    left -= piece;
    const int packetLength = cipher.FramePiece(buffer, left != 0 ? PkBigPart : msgCode, piece);
    wire.append(buffer, static_cast<std::size_t>(packetLength));
    buffer += piece;
  }
  return true;
}

}  // namespace

// What a sender works with: a link, its messenger and its cipher, all of one moment. Nothing when there is no
// link that takes packets.
struct VekClient::TImpl::TWire {
  Dstl::wise_ref<TLink> link;
  Dstl::wise_ref<Dova::TMesBase> mes;
  TCipher cipher;

  explicit operator bool() const { return static_cast<bool>(mes); }
  bool Send(const char* packets, int length) const {
    const bool sent = mes->Send(packets, length) == length;
    link->OnSent();
    return sent;
  }
};

VekClient::TImpl::TWire VekClient::TImpl::Wire() {
  if (context_->IsInherited()) return {};
  const std::lock_guard lock(slot_->mutex);
  if (!mes_) return {};
  return {link_, mes_, slot_->cipher};
}

Dstl::wise_ref<Dova::TMesBase> VekClient::TImpl::GetMes() {
  const std::lock_guard lock(slot_->mutex);
  return mes_;
}

unsigned VekClient::TImpl::CheckQueryRate() {
  return context_->IsInherited() ? 0 : flowCtrl_.CheckFlowCtrl(false);
}

bool VekClient::TImpl::SendPk(char* packet, int length) {
  if (length < kHeadBytes) return false;
  const TWire wire = Wire();
  if (!wire) return false;
  wire.cipher.EncPacket(packet, length);
  return wire.Send(packet, length);
}

bool VekClient::TImpl::SendRequest(int msgCode, char* buffer, unsigned length) {
  if (length <= kPrefixBytes || length > kMaxRequest) return false;
  const TWire wire = Wire();
  if (!wire) return false;
  const std::size_t textLength = length - kPrefixBytes;
  if (textLength <= kMaxPiece) return wire.Send(buffer, wire.cipher.FramePiece(buffer, msgCode, textLength));
  std::string pieces;
  return FrameInPieces(wire.cipher, msgCode, buffer, textLength, pieces) &&
         wire.Send(pieces.data(), static_cast<int>(pieces.size()));
}

}  // namespace VekApi
