#include "vekdump/PacketCutter.h"

#include <algorithm>
#include <utility>

#include "protocol/Packet.h"
#include "vekdump/Looks.h"

namespace VekDump {
namespace {

// Bytes where a packet may start: its code is known, and so is the next one's, as far as it is there.
bool MayStart(std::string_view bytes) {
  for (int packets = 0; packets < 2 && bytes.size() >= VekApi::kHeadBytes; ++packets) {
    const auto length = static_cast<std::size_t>(VekApi::PkLength(bytes.data()));
    if (length < VekApi::kHeadBytes || !IsKnownCode(VekApi::PkCode(bytes.data()))) return false;
    bytes.remove_prefix(std::min(length, bytes.size()));
  }
  return true;
}

}  // namespace

void PacketCutter::Feed(std::string_view bytes) {
  bytes_.erase(0, std::exchange(start_, 0));
  bytes_.append(bytes);
}

std::optional<std::string> PacketCutter::Next() {
  const auto drop = static_cast<std::size_t>(std::min<std::uint64_t>(dropping_, Rest().size()));
  Drop(drop);
  dropping_ -= drop;
  if (broken_ || (lost_ && !FindStart()) || Rest().size() < VekApi::kHeadBytes) return {};
  const int length = VekApi::PkLength(Rest().data());
  broken_ = length < VekApi::kHeadBytes;
  if (broken_ || static_cast<std::size_t>(length) > Rest().size()) return {};
  std::string packet(Rest().substr(0, static_cast<std::size_t>(length)));
  Drop(packet.size());
  return packet;
}

bool PacketCutter::FindStart() {
  const std::string_view rest = Rest();
  std::size_t at = 0;
  while (at + VekApi::kHeadBytes <= rest.size() && !MayStart(rest.substr(at))) ++at;
  Drop(at);
  leftOut_ += at;
  lost_ = Rest().size() < VekApi::kHeadBytes;
  return !lost_;
}

void PacketCutter::Skip(std::uint64_t count) {
  if (broken_) return;
  const std::string_view rest = Rest();
  if (dropping_ == 0 && !lost_ && rest.size() >= VekApi::kHeadBytes)
    dropping_ = static_cast<std::uint64_t>(VekApi::PkLength(rest.data())) - rest.size();
  lost_ = lost_ || count > dropping_ || dropping_ == 0;
  leftOut_ += rest.size();
  Drop(rest.size());
  dropping_ = lost_ ? 0 : dropping_ - count;
}

std::uint64_t PacketCutter::TakeLeftOut() {
  return std::exchange(leftOut_, 0);
}

}  // namespace VekDump
