#include "protocol/TPacketParser.h"

#include <algorithm>

#include "protocol/RequestPrefix.h"

namespace VekApi {

void TPacketParser::Clear() {
  std::string().swap(bigPkBuf_);
  std::string().swap(recvBuf_);
}

void TPacketParser::Parse(char* block, unsigned length) {
  if (!recvBuf_.empty() && !CompleteCarried(block, length)) return;
  while (length >= kHeadBytes) {
    const auto pkLength = static_cast<unsigned>(PkLength(block));
    if (pkLength < kHeadBytes) return events_.OnStreamBroken(kBadPacketLength);
    if (pkLength > length) break;
    Dispatch(block, static_cast<int>(pkLength));
    if (Over()) return;
    block += pkLength;
    length -= pkLength;
  }
  recvBuf_.assign(block, length);
}

// Completes the carried packet from the block and dispatches it once complete. Returns true if the rest of
// the block is to be parsed.
bool TPacketParser::CompleteCarried(char*& block, unsigned& length) {
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
    events_.OnStreamBroken(kBadPacketLength);
    return false;
  }
  if (!take(static_cast<std::size_t>(pkLength))) return false;
  std::string packet;
  packet.swap(recvBuf_);  // an event may change the parser, but not this copy
  Parse(packet.data(), static_cast<unsigned>(pkLength));
  if (Over()) return false;
  packet.clear();
  packet.swap(recvBuf_);
  return true;
}

void TPacketParser::Dispatch(char* packet, int length) {
  const int code = PkCode(packet);
  if (code != PkConnect) cipher_.Xor(packet, length);
  if (tapped_.load(std::memory_order_relaxed)) {
    events_.OnPacket(packet, length);
    if (Over()) return;
  }
  if (code > PkBigPart && bigPkBuf_.empty())
    return events_.OnMessage(code, packet, static_cast<std::size_t>(length));
  DispatchOther(code, packet, length);
}

void TPacketParser::DispatchOther(int code, const char* packet, int length) {
  switch (code) {
    case PkConnect:
      return events_.OnPkConnectResult(packet, length);
    case PkHeartbeat:
      return;
    case PkSession:
      return events_.OnPkSession(packet, length);
    default:
      break;
  }
  if (!AppendToBigPk(packet, static_cast<unsigned>(length))) return events_.OnStreamBroken(kMessageTooLong);
  if (code == PkBigPart) return;
  bigPkBuf_.replace(0, kHeadBytes, packet, kHeadBytes);
  std::string message;
  message.swap(bigPkBuf_);
  events_.OnMessage(code, message.data(), message.size());
}

// False if the message would exceed its limit.
bool TPacketParser::AppendToBigPk(const char* packet, unsigned length) {
  if (bigPkBuf_.empty()) bigPkBuf_.assign(kPrefixBytes, '\0');
  if (length <= kPrefixBytes) return true;
  const std::size_t announced = GetU16(packet + kHeadBytes, cipher_.Endian());
  const std::size_t count = std::min<std::size_t>(announced, length - kPrefixBytes);
  if (count > maxMessageBytes_ - (bigPkBuf_.size() - kPrefixBytes)) return false;
  bigPkBuf_.append(packet + kPrefixBytes, count);
  return true;
}

}  // namespace VekApi
