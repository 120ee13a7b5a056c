// Sending; thread-safe.
#include "protocol/RequestPrefix.h"
#include "session/TImpl.h"
#include "session/TLink.h"

namespace VekApi {
namespace {

constexpr unsigned kMaxRequest = 1u << 30;

}  // namespace

// A consistent snapshot for a sender: a link, its messenger and its cipher. Empty if no link accepts packets.
struct VekClient::TImpl::TWire {
  Dstl::wise_ref<TLink> link;
  Dstl::wise_ref<Dova::TMesBase> mes;
  TCipher cipher;

  explicit operator bool() const { return static_cast<bool>(mes); }
  // A tap may have deleted the client: do not access the session afterwards.
  bool Send(const char* packets, int length) const {
    const bool sent = mes->Send(packets, length) == length;
    link->OnSent();
    if (!sent) link->TapRefused();
    return sent;
  }
  bool Send(const char* packets, int length, TSendNote* note) const {
    if (!note) return Send(packets, length);
    const bool sent = mes->SendAt(packets, length, note->at) == length;
    link->OnSentAt(note->now);
    if (!sent) link->TapRefused();
    return sent;
  }
};

VekClient::TImpl::TWire VekClient::TImpl::Wire() {
  if (context_->IsInherited()) return {};
  const std::lock_guard lock(slot_->mutex);
  if (!mes_) return {};
  return {link_, mes_, slot_->cipher};
}

Dstl::wise_ref<TLink> VekClient::TImpl::LinkNow() {
  if (context_->IsInherited()) return {};
  const std::lock_guard lock(slot_->mutex);
  return link_;
}

unsigned VekClient::TImpl::CheckQueryRate() {
  return context_->IsInherited() ? 0 : flowCtrl_.CheckFlowCtrl(false);
}

bool VekClient::TImpl::SendPk(char* packet, int length) {
  if (length < kHeadBytes) return false;
  const TWire wire = Wire();
  if (!wire) return false;
  if (tap_.IsOn()) wire.link->TapSent(wire.cipher, {packet, static_cast<std::size_t>(length)});
  wire.cipher.EncPacket(packet, length);
  return wire.Send(packet, length);
}

bool VekClient::TImpl::SendRequest(int msgCode, char* buffer, unsigned length) {
  return SendRequest(msgCode, buffer, length, nullptr);
}

bool VekClient::TImpl::SendRequest(int msgCode, char* buffer, unsigned length, TSendNote* note) {
  if (length <= kPrefixBytes || length > kMaxRequest) return false;
  const TWire wire = Wire();
  if (!wire) return false;
  const std::size_t textLength = length - kPrefixBytes;
  if (tap_.IsOn()) wire.link->TapRequest(wire.cipher, msgCode, {buffer + kPrefixBytes, textLength});
  if (textLength <= kMaxPiece)
    return wire.Send(buffer, FramePiece(wire.cipher, buffer, msgCode, textLength), note);
  // Sent in one call, so that no other thread's data comes between the pieces, and the messenger accepts all
  // or none.
  std::string pieces;
  return FrameInPieces(wire.cipher, msgCode, buffer, textLength, pieces) &&
         wire.Send(pieces.data(), static_cast<int>(pieces.size()), note);
}

}  // namespace VekApi
