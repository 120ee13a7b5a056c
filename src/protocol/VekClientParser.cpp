#include "vekapi/VekClientParser.h"

#include <algorithm>

#include "protocol/Cipher.h"
#include "protocol/LinkLife.h"
#include "protocol/Packet.h"
#include "protocol/Texts.h"
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
      bigPkBuf_(other.bigPkBuf_),
      recvBuf_(other.recvBuf_),
      sgnResult_(other.sgnResult_),
      serverName_(other.serverName_),
      sgnReplyValue_(other.sgnReplyValue_),
      slot_(other.slot_) {}

VekClientParser::~VekClientParser() = default;

const TCipher& VekClientParser::CipherInside() const {
  return slot_->cipher;
}

EVekEndian VekClientParser::ServerEndian() const {
  return slot_->Get().Endian();
}

void VekClientParser::EncPacket(char* packet, int length) const {
  slot_->Get().EncPacket(packet, length);
}

void VekClientParser::XorEncDecPacket(char* packet, int length) const {
  CipherInside().Xor(packet, length);
}

void VekClientParser::Begin(TLinkLife& link, std::size_t maxMessageBytes) {
  link_ = &link;
  maxMessageBytes_ = maxMessageBytes;
}

void VekClientParser::End(const TLinkLife& link) {
  if (link_ != &link) return;
  link_ = nullptr;
  DropBlock();
  spareResult_.reset();
  std::string().swap(spareText_);
}

void VekClientParser::SetDisconnected() {
  State(vcs_Disconnected);
  sgnReplyValue_ = 0;
  slot_->Set(CipherInside().WithoutKey());
  serverName_.clear();
  DropBlock();
}

// Forgets what was received and not yet acted on, and gives its memory back.
void VekClientParser::DropBlock() {
  std::string().swap(bigPkBuf_);
  std::string().swap(recvBuf_);
}

void VekClientParser::ParsePacket(char* block, unsigned length) {
  if (!link_) return;
  const Dstl::wise_ref<TLinkLife> held(link_);
  const TLinkLife& link = *held;
  if (!recvBuf_.empty() && !CompleteCarried(link, block, length)) return;
  while (length >= kHeadBytes) {
    const auto pkLength = static_cast<unsigned>(PkLength(block));
    if (pkLength < kHeadBytes) return client_.OnStreamBroken(kTextBadPacketLength);
    if (pkLength > length) break;
    Dispatch(link, block, static_cast<int>(pkLength));
    if (link.Over()) return;
    block += pkLength;
    length -= pkLength;
  }
  recvBuf_.assign(block, length);
}

// Moves what the carried packet still lacks from the block to it, and dispatches it when it is whole. True
// when the rest of the block is to be parsed.
bool VekClientParser::CompleteCarried(const TLinkLife& link, char*& block, unsigned& length) {
  const auto take = [&](std::size_t upTo) {
    const auto count = static_cast<unsigned>(std::min<std::size_t>(length, upTo - recvBuf_.size()));
    recvBuf_.append(block, count);
    block += count;
    length -= count;
    return recvBuf_.size() == upTo;
  };
  if (recvBuf_.size() < kHeadBytes && !take(kHeadBytes)) return false;
  const int pkLength = PkLength(recvBuf_.data());
  if (pkLength < kHeadBytes) {
    client_.OnStreamBroken(kTextBadPacketLength);
    return false;
  }
  if (!take(static_cast<std::size_t>(pkLength))) return false;
  std::string packet;
  packet.swap(recvBuf_);  // out of reach of what an event may do to the parser
  Dispatch(link, packet.data(), pkLength);
  if (link.Over()) return false;
  packet.clear();
  packet.swap(recvBuf_);
  return true;
}

void VekClientParser::Dispatch(const TLinkLife& link, char* packet, int length) {
  const int code = PkCode(packet);
  if (code == PkConnect) return OnPkConnectResult(packet, length);
  DecPacket(packet, length);
  switch (code) {
    case PkHeartbeat:
      return;
    case PkSession:
      return OnPkSession(packet, length);
    case PkBigPart:
      if (!AppendToBigPk(packet, static_cast<unsigned>(length))) client_.OnStreamBroken(kTextLongMessage);
      return;
    default:
      break;
  }
  if (bigPkBuf_.empty()) return OnMessage(link, code, packet, static_cast<std::size_t>(length));
  if (!AppendToBigPk(packet, static_cast<unsigned>(length))) return client_.OnStreamBroken(kTextLongMessage);
  bigPkBuf_.replace(0, kHeadBytes, packet, kHeadBytes);
  std::string message;
  message.swap(bigPkBuf_);
  OnMessage(link, code, message.data(), message.size());
}

// False when the message would grow beyond its bound.
bool VekClientParser::AppendToBigPk(const char* packet, unsigned length) {
  if (bigPkBuf_.empty()) bigPkBuf_.assign(kPrefixBytes, '\0');
  if (length <= kPrefixBytes) return true;
  const std::size_t announced = GetU16(packet + kHeadBytes, CipherInside().Endian());
  const std::size_t count = std::min<std::size_t>(announced, length - kPrefixBytes);
  if (count > maxMessageBytes_ - (bigPkBuf_.size() - kPrefixBytes)) return false;
  bigPkBuf_.append(packet + kPrefixBytes, count);
  return true;
}

void VekClientParser::OnMessage(const TLinkLife& link, int msgCode, const char* message, std::size_t length) {
  switch (msgCode) {
    case PkTaskResult:
      return OnTaskResult(link, message, length);
    case PkRequestAck:
    case PkRequestAck2:
    case PkReport:
      return OnText(link, msgCode, message, length);
    default:
      return client_.OnVekUnknownMsgCodeEvent(msgCode, message, static_cast<int>(length));
  }
}

// The text lies outside the parser during the event, and its memory comes back afterwards for the next one.
void VekClientParser::OnText(const TLinkLife& link, int msgCode, const char* message, std::size_t length) {
  std::string text;
  text.swap(spareText_);
  text.assign(message + std::min<std::size_t>(length, kPrefixBytes), message + length);
  if (msgCode == PkReport) {
    client_.OnVekReportEvent(text);
  } else {
    client_.OnVekRequestAckEvent(msgCode, text);
  }
  constexpr std::size_t kKeepBytes = 4096;
  if (!link.Over() && text.capacity() <= kKeepBytes) text.swap(spareText_);
}

void VekClientParser::OnTaskResult(const TLinkLife& link, const char* message, std::size_t length) {
  std::unique_ptr<VekTaskResult> result =
      spareResult_ ? std::move(spareResult_) : std::make_unique<VekTaskResult>();
  result->Parse(message, static_cast<unsigned>(length), CipherInside().Endian());
  if (link.Over()) return;
  if (result->WorkID() == "Sgn.Result") {
    OnSgnResult(*result);
  } else {
    client_.OnVekTaskResultEvent(*result);
  }
  if (!link.Over()) spareResult_ = std::move(result);
}

}  // namespace VekApi
