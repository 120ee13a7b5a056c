// Packets with passwords, and what the application sends.
#include "platform/mbus/Wipe.h"
#include "protocol/Packet.h"
#include "protocol/Texts.h"
#include "session/TImpl.h"
#include "vekapi/VekClient.h"

namespace VekApi {
namespace {

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

bool VekClient::SendPk(char* packet, int length) {
  return impl_->SendPk(packet, length);
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
    const Dstl::wise_ref<TImpl> impl(impl_);
    const Dova::TSyncScope inside(impl->Context());
    if (inside) handler_.OnVekChgPassResultEvent(*this, user, kTextChgPassTooLong);
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
  if (msgCode == PkTaskResult && impl_->CheckQueryRate() != 0) return false;
  return SendVekRequestImpl(msgCode, buffer, length);
}

int VekClient::SendVekQueryRequest(char* buffer, unsigned length) {
  const auto waitMs = static_cast<int>(impl_->CheckQueryRate());
  if (waitMs > 0) return waitMs;
  return SendVekRequestImpl(PkTaskResult, buffer, length) ? 0 : -1;
}

bool VekClient::SendVekRequestImpl(int msgCode, char* buffer, unsigned length) {
  return impl_->SendRequest(msgCode, buffer, length);
}

}  // namespace VekApi
