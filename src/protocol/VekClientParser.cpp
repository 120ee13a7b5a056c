#include "vekapi/VekClientParser.h"

#include <algorithm>

#include "protocol/Packet.h"
#include "protocol/ParserParts.h"
#include "protocol/Texts.h"
#include "vekapi/VekClient.h"

namespace VekApi {

VekClientParser::VekClientParser(VekClient& client) : client_(client), shared_(std::make_unique<TShared>()) {
  SetCipher(std::make_shared<const TCipher>(vek_LittleEndian, 0, std::string()));
}

VekClientParser::VekClientParser(const VekClientParser& other) : VekClientParser(other, other.client_) {}

VekClientParser::VekClientParser(const VekClientParser& other, VekClient& client)
    : client_(client),
      state_(other.State()),
      bigPkBuf_(other.bigPkBuf_),
      recvBuf_(other.recvBuf_),
      sgnResult_(other.sgnResult_),
      serverName_(other.serverName_),
      sgnReplyValue_(other.sgnReplyValue_),
      shared_(std::make_unique<TShared>()) {
  SetCipher(other.Cipher());
}

VekClientParser::~VekClientParser() {
  for (TFrame* frame = frame_; frame; frame = frame->outer) frame->gone = true;
}

std::shared_ptr<const VekClientParser::TCipher> VekClientParser::Cipher() const {
  const std::lock_guard lock(shared_->mutex);
  return shared_->cipher;
}

void VekClientParser::SetCipher(std::shared_ptr<const TCipher> cipher) {
  const std::lock_guard lock(shared_->mutex);
  shared_->cipher.swap(cipher);
}

const VekClientParser::TCipher& VekClientParser::CipherInside() const {
  return *shared_->cipher;
}

EVekEndian VekClientParser::ServerEndian() const {
  return Cipher()->Endian();
}

void VekClientParser::EncPacket(char* packet, int length) const {
  Cipher()->EncPacket(packet, length);
}

void VekClientParser::XorEncDecPacket(char* packet, int length) const {
  CipherInside().Xor(packet, length);
}

void VekClientParser::SetDisconnected() {
  State(vcs_Disconnected);
  sgnReplyValue_ = 0;
  const TCipher& cipher = CipherInside();
  SetCipher(std::make_shared<const TCipher>(cipher.Endian(), cipher.Mode(), std::string()));
  serverName_.clear();
  DropBlock();
}

// Forgets what was received and not yet acted on, also by a ParsePacket that is on the stack.
void VekClientParser::DropBlock() {
  bigPkBuf_.clear();
  recvBuf_.clear();
  for (TFrame* frame = frame_; frame; frame = frame->outer) frame->stale = true;
}

void VekClientParser::ParsePacket(char* block, unsigned length) {
  TFrame frame(*this);
  if (!recvBuf_.empty() && !CompleteCarried(frame, block, length)) return;
  while (length >= kHeadBytes) {
    const auto pkLength = static_cast<unsigned>(PkLength(block));
    if (pkLength < kHeadBytes) return client_.OnStreamBroken(kTextBadPacketLength);
    if (pkLength > length) break;
    Dispatch(frame, block, static_cast<int>(pkLength));
    if (frame.Over()) return;
    block += pkLength;
    length -= pkLength;
  }
  recvBuf_.assign(block, length);
}

// Moves what the carried packet still lacks from the block to it, and dispatches it when it is whole. True
// when the rest of the block is to be parsed.
bool VekClientParser::CompleteCarried(TFrame& frame, char*& block, unsigned& length) {
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
  Dispatch(frame, packet.data(), pkLength);
  if (frame.Over()) return false;
  packet.clear();
  packet.swap(recvBuf_);
  return true;
}

void VekClientParser::Dispatch(TFrame& frame, char* packet, int length) {
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
  if (bigPkBuf_.empty()) return OnMessage(frame, code, packet, static_cast<std::size_t>(length));
  if (!AppendToBigPk(packet, static_cast<unsigned>(length))) return client_.OnStreamBroken(kTextLongMessage);
  bigPkBuf_.replace(0, kHeadBytes, packet, kHeadBytes);
  std::string message;
  message.swap(bigPkBuf_);
  OnMessage(frame, code, message.data(), message.size());
}

// False when the message would grow beyond its bound.
bool VekClientParser::AppendToBigPk(const char* packet, unsigned length) {
  if (bigPkBuf_.empty()) bigPkBuf_.assign(kPrefixBytes, '\0');
  if (length <= kPrefixBytes) return true;
  const std::size_t announced = GetU16(packet + kHeadBytes, CipherInside().Endian());
  const std::size_t count = std::min<std::size_t>(announced, length - kPrefixBytes);
  if (count > kMaxLongMessage - bigPkBuf_.size()) return false;
  bigPkBuf_.append(packet + kPrefixBytes, count);
  return true;
}

void VekClientParser::OnMessage(TFrame& frame, int msgCode, const char* message, std::size_t length) {
  switch (msgCode) {
    case PkTaskResult:
      return OnTaskResult(frame, message, length);
    case PkRequestAck:
    case PkRequestAck2:
    case PkReport:
      return OnText(frame, msgCode, message, length);
    default:
      return client_.OnVekUnknownMsgCodeEvent(msgCode, message, static_cast<int>(length));
  }
}

// The text lies outside the parser during the event, and its memory comes back afterwards for the next one.
void VekClientParser::OnText(TFrame& frame, int msgCode, const char* message, std::size_t length) {
  std::string text;
  text.swap(spareText_);
  text.assign(message + std::min<std::size_t>(length, kPrefixBytes), message + length);
  if (msgCode == PkReport) {
    client_.OnVekReportEvent(text);
  } else {
    client_.OnVekRequestAckEvent(msgCode, text);
  }
  constexpr std::size_t kKeepBytes = 4096;
  if (!frame.gone && text.capacity() <= kKeepBytes) text.swap(spareText_);
}

void VekClientParser::OnTaskResult(TFrame& frame, const char* message, std::size_t length) {
  std::unique_ptr<VekTaskResult> result =
      spareResult_ ? std::move(spareResult_) : std::make_unique<VekTaskResult>();
  result->Parse(message, static_cast<unsigned>(length), CipherInside().Endian());
  if (result->WorkID() == "Sgn.Result") {
    OnSgnResult(*result);
  } else {
    client_.OnVekTaskResultEvent(*result);
  }
  if (!frame.gone) spareResult_ = std::move(result);
}

}  // namespace VekApi
