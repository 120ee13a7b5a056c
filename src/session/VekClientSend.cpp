// Building and sending packets.
#include <algorithm>
#include <new>

#include "platform/mbus/Wipe.h"
#include "protocol/Cipher.h"
#include "protocol/Packet.h"
#include "protocol/Texts.h"
#include "session/TCall.h"
#include "session/TImpl.h"
#include "vekapi/VekClient.h"

namespace VekApi {
namespace {

constexpr unsigned kMaxRequest = 1u << 30;

// A packet that is wiped when it has been sent: it holds passwords.
class TSecretPacket {
 public:
  // Not usable (see operator bool) when the length is beyond what a packet may have.
  TSecretPacket(int msgCode, std::size_t length) {
    made_ = length <= kMaxBuilt && VekClient::MakePkBuffer(bytes_, msgCode, static_cast<int>(length));
  }
  ~TSecretPacket() { Dova::WipeText(bytes_); }
  TSecretPacket(const TSecretPacket&) = delete;
  TSecretPacket& operator=(const TSecretPacket&) = delete;

  explicit operator bool() const { return made_; }
  char* Data() { return bytes_.data(); }
  int Length() const { return static_cast<int>(bytes_.size()); }

  // One length byte is all that the format has: longer texts wrap.
  void SetLength(std::size_t at, const std::string& text) {
    bytes_[at] = static_cast<char>(text.size() & 0xFF);
  }
  void Put(std::size_t at, const std::string& text) { bytes_.replace(at, text.size(), text); }

 private:
  std::string bytes_;
  bool made_;
};

}  // namespace

void VekClient::EncPacket(char* packet, int length) const {
  parser_.EncPacket(packet, length);
}

// The messenger is fetched before the cipher: a reconnect between the two drops the messenger first, which
// then takes nothing, so bytes never go out scrambled for another link.
bool VekClient::SendPk(char* packet, int length) {
  const auto mes = impl_->GetMes();
  if (!mes || length < kHeadBytes) return false;
  EncPacket(packet, length);
  return impl_->SendMes(*mes, packet, length);
}

// Sign-on request: byte 3 subcode, 4 length of the identity, 7 length of the password, from 12 the two texts.
// False when they are too long.
bool VekClient::SendSignOn() {
  constexpr std::size_t kTextsAt = 12;
  TSecretPacket packet(PkSession, kTextsAt + sgnId_.size() + sgnPass_.size());
  if (!packet) return false;
  packet.Data()[kHeadBytes] = PkSessionSignOn;
  packet.SetLength(4, sgnId_);
  packet.SetLength(7, sgnPass_);
  packet.Put(kTextsAt, sgnId_);
  packet.Put(kTextsAt + sgnId_.size(), sgnPass_);
  SendPk(packet.Data(), packet.Length());
  return true;
}

// Password change request: byte 3 subcode, 4 to 6 lengths of the three texts, from 7 the texts.
bool VekClient::ChgPass(const std::string& user, const std::string& oldPass, const std::string& newPass) {
  constexpr std::size_t kTextsAt = 7;
  if (!IsSessionConnected()) return false;
  TSecretPacket packet(PkSession, kTextsAt + user.size() + oldPass.size() + newPass.size());
  if (!packet) {
    TCall call(*this);
    if (call) handler_.OnVekChgPassResultEvent(*this, user, kTextChgPassTooLong);
    return false;
  }
  packet.Data()[kHeadBytes] = PkSessionChgPass;
  std::size_t lengthAt = 4;
  std::size_t textAt = kTextsAt;
  for (const std::string* text : {&user, &oldPass, &newPass}) {
    packet.SetLength(lengthAt++, *text);
    packet.Put(textAt, *text);
    textAt += text->size();
  }
  return SendPk(packet.Data(), packet.Length());
}

bool VekClient::SendVekRequest(int msgCode, char* buffer, unsigned length) {
  if (msgCode == PkTaskResult && impl_->FlowCtrl().CheckFlowCtrl(false) != 0) return false;
  return SendVekRequestImpl(msgCode, buffer, length);
}

int VekClient::SendVekQueryRequest(char* buffer, unsigned length) {
  const auto waitMs = static_cast<int>(impl_->FlowCtrl().CheckFlowCtrl(false));
  if (waitMs > 0) return waitMs;
  return SendVekRequestImpl(PkTaskResult, buffer, length) ? 0 : -1;
}

bool VekClient::SendVekRequestImpl(int msgCode, char* buffer, unsigned length) {
  if (length <= kPrefixBytes || length > kMaxRequest) return false;
  const auto mes = impl_->GetMes();  // before the cipher, as in SendPk
  if (!mes) return false;
  const auto cipher = parser_.Cipher();
  const std::size_t textLength = length - kPrefixBytes;
  if (textLength <= kMaxPiece) {
    const int packetLength = cipher->FramePiece(buffer, msgCode, textLength);
    return impl_->SendMes(*mes, buffer, packetLength);
  }
  std::string wire;
  if (!FrameInPieces(*cipher, msgCode, buffer, textLength, wire)) return false;
  return impl_->SendMes(*mes, wire.data(), static_cast<int>(wire.size()));
}

// The pieces are handed over together, so that nothing of another thread can come between them and the
// messenger takes all of them or none. The head of each is written over the end of the one before, which is
// copied out by then. False, with the buffer untouched, when there is no memory.
bool VekClient::FrameInPieces(const VekClientParser::TCipher& cipher, int msgCode, char* buffer,
                              std::size_t textLength, std::string& wire) {
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

}  // namespace VekApi
