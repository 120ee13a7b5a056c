// Sending; thread-safe.
#include "protocol/RequestPrefix.h"
#include "session/TImpl.h"
#include "session/TLink.h"

namespace VekApi {
namespace {

constexpr unsigned kMaxRequest = 1u << 30;

}  // namespace

Dstl::wise_ref<const TWire> VekClient::TImpl::Wire() {
  if (context_->IsInherited()) return {};
  return slot_->wire.Get();
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
  const auto wire = Wire();
  if (!wire) return false;
  if (tap_.IsOn()) wire->link->TapSent(wire->cipher, {packet, static_cast<std::size_t>(length)});
  wire->cipher.EncPacket(packet, length);
  return wire->Send(packet, length);
}

bool VekClient::TImpl::SendRequest(int msgCode, char* buffer, unsigned length) {
  return SendText(Wire().get(), msgCode, buffer, length, nullptr);
}

bool VekClient::TImpl::SendRequest(int msgCode, char* buffer, unsigned length, TSendNote& note) {
  if (!slot_->wire.Is(note.wire.get())) note.wire = Wire();
  return SendText(note.wire.get(), msgCode, buffer, length, &note);
}

bool VekClient::TImpl::SendText(const TWire* wire, int msgCode, char* buffer, unsigned length,
                                TSendNote* note) {
  if (!wire || length <= kPrefixBytes || length > kMaxRequest) return false;
  const std::size_t textLength = length - kPrefixBytes;
  if (tap_.IsOn()) wire->link->TapRequest(wire->cipher, msgCode, {buffer + kPrefixBytes, textLength});
  if (textLength <= kMaxPiece)
    return wire->Send(buffer, FramePiece(wire->cipher, buffer, msgCode, textLength), note);
  // Sent in one call, so that no other thread's data comes between the pieces, and the messenger accepts all
  // or none.
  std::string pieces;
  return FrameInPieces(wire->cipher, msgCode, buffer, textLength, pieces) &&
         wire->Send(pieces.data(), static_cast<int>(pieces.size()), note);
}

}  // namespace VekApi
