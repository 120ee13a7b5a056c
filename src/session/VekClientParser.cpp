#include "vekapi/VekClientParser.h"

#include "session/CipherSlot.h"
#include "session/TImpl.h"
#include "session/TLink.h"
#include "vekapi/VekClient.h"

namespace VekApi {

VekClientParser::VekClientParser(VekClient& client)
    : VekClientParser(client, std::make_shared<TCipherSlot>()) {}

VekClientParser::VekClientParser(VekClient& client, std::shared_ptr<TCipherSlot> slot)
    : client_(client), slot_(std::move(slot)) {}

VekClientParser::VekClientParser(const VekClientParser& other) : VekClientParser(other, other.client_) {}

VekClientParser::VekClientParser(const VekClientParser& other, VekClient& client)
    : client_(client),
      state_(other.State()),
      sgnResult_(other.sgnResult_),
      serverName_(other.serverName_),
      sgnReplyValue_(other.sgnReplyValue_),
      slot_(other.slot_) {}

VekClientParser::~VekClientParser() = default;

EVekEndian VekClientParser::ServerEndian() const {
  return slot_->Get().Endian();
}

void VekClientParser::EncPacket(char* packet, int length) const {
  slot_->Get().EncPacket(packet, length);
}

void VekClientParser::ParsePacket(char* block, unsigned length) {
  const Dstl::wise_ref<TLink> link = TClientParts::ImplOf(client_).Link();
  if (link) link->ParsePacket(block, length);
}

void VekClientParser::SetDisconnected() {
  State(vcs_Disconnected);
  sgnReplyValue_ = 0;
  slot_->Set(slot_->cipher.WithoutKey());
  serverName_.clear();
  if (const auto& link = TClientParts::ImplOf(client_).Link()) link->ForgetReceived();
}

}  // namespace VekApi
