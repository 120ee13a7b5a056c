#include "vekdump/LinkDecoder.h"

#include <fmt/core.h>

#include <algorithm>

#include "protocol/ConnectResult.h"
#include "protocol/Masked.h"
#include "protocol/RequestPrefix.h"
#include "vekdump/Looks.h"
#include "vekdump/PacketFields.h"
#include "vekdump/Text.h"

namespace VekDump {
namespace {

using namespace VekApi;

constexpr std::size_t kMostMessage = 64 * 1024 * 1024;

const char* Who(Side from) {
  return from == Side::Client ? "client" : "server";
}

bool FitsOrder(std::string_view packet, EVekEndian order) {
  return packet.size() >= kPrefixBytes && PkCode(packet.data()) >= PkBigPart &&
         GetU16(packet.data() + kHeadBytes, order) == packet.size() - kPrefixBytes;
}

// Without the handshake: the byte order in which a text's length fits its packet. The length in a scrambled
// packet hardly ever does.
std::optional<EVekEndian> GuessOrder(std::string_view packet) {
  for (const EVekEndian order : {vek_LittleEndian, vek_BigEndian}) {
    if (FitsOrder(packet, order)) return order;
  }
  return {};
}

bool IsHeartbeat(std::string_view packet) {
  return packet.size() == kHeadBytes && PkCode(packet.data()) == PkHeartbeat;
}

ERecordOrder RecordOrder(std::optional<EVekEndian> order) {
  if (!order) return ERecordOrder::Unknown;
  return *order == vek_LittleEndian ? ERecordOrder::Little : ERecordOrder::Big;
}

}  // namespace

void LinkDecoder::OnBytes(Moment at, Side from, std::string_view bytes, bool fromStart) {
  Direction& direction = Of(from);
  if (!direction.started) {
    direction.started = true;
    if (!fromStart) {
      direction.cutter.StartsInMidst();
      direction.sure = from == Side::Client && MayBeConnectRequest(bytes);
    } else if (from == Side::Client ? !MayBeConnectRequest(bytes)
                                    : bytes.size() > 2 && PkCode(bytes.data()) != 0) {
      const std::string_view other = OtherProtocol(bytes);
      return Leave(at, from, other.empty() ? "which is not how a session starts" : other);
    }
  }
  if (direction.left) return;
  direction.cutter.Feed(bytes);
  Cut(at, from);
}

// What it sent is not shown, because it may contain a password.
void LinkDecoder::Leave(Moment at, Side from, std::string_view why) {
  Of(from).left = true;
  Note(at, from,
       fmt::format("the {} sends no packets ({}); its bytes are looked at no further", Who(from), why));
}

void LinkDecoder::Cut(Moment at, Side from) {
  Direction& direction = Of(from);
  while (auto packet = direction.cutter.Next()) {
    if (const auto left = direction.cutter.TakeLeftOut())
      Note(at, from, fmt::format("{} of the {}'s stream left out", Counted(left, "byte"), Who(from)));
    Item item{.at = at, .link = link_, .from = from};
    Descramble(from, *packet);
    const auto order = OrderOf(from, *packet);
    Decode(item, std::move(*packet), order);
  }
  if (direction.cutter.Broken() && !direction.left) Leave(at, from, "a packet length below 3");
}

void LinkDecoder::Descramble(Side from, std::string& packet) {
  const int length = static_cast<int>(packet.size());
  if (PkCode(packet.data()) != PkConnect) {
    return from == Side::Client ? cipher_.EncPacket(packet.data(), length)
                                : cipher_.Xor(packet.data(), length);
  }
  const auto result = from == Side::Server ? ReadConnectResult(packet.data(), length) : std::nullopt;
  if (!result || !Of(from).sure) return;
  cipher_ = result->cipher;
  knowsCipher_ = true;
}

// The byte order of a readable packet. Packet boundaries are a guess until the contents of a packet confirm
// it: the bytes could be those of a password.
std::optional<EVekEndian> LinkDecoder::OrderOf(Side from, std::string_view packet) {
  Direction& direction = Of(from);
  const auto guessed = knowsCipher_ ? std::nullopt : GuessOrder(packet);
  direction.sure = direction.sure || guessed || IsHeartbeat(packet) || FitsOrder(packet, cipher_.Endian());
  if (!direction.sure) return {};
  return knowsCipher_ || PkCode(packet.data()) == PkConnect ? cipher_.Endian() : guessed;
}

void LinkDecoder::OnPacket(Moment at, Side from, ERecordOrder order, std::string packet) {
  Item item{.at = at, .link = link_, .from = from};
  std::optional<EVekEndian> known;
  if (order != ERecordOrder::Unknown)
    known = order == ERecordOrder::Little ? vek_LittleEndian : vek_BigEndian;
  Decode(item, std::move(packet), known);
}

void LinkDecoder::Decode(Item& item, std::string packet, std::optional<EVekEndian> order) {
  item.code = PkCode(packet.data());
  item.order = RecordOrder(order);
  const bool readable = order || IsHeartbeat(packet);
  if (item.from == Side::Client && (!readable || MayHoldPassword(packet)))
    packet = MaskPasswords(packet, readable);
  item.packet = packet;
  item.wireBytes = packet.size();  // nor reveals the length of a password
  item.name = NameOf(item.code, item.from, readable ? packet : std::string_view());
  item.decoded = readable;
  if (readable) {
    const EVekEndian endian = order.value_or(vek_LittleEndian);
    std::string message = item.code >= PkBigPart ? Join(item, packet, endian) : std::string();
    ReadFields({message.empty() ? std::string_view(packet) : message, endian}, item);
  }
  output_.Show(item);
}

// The message completed by the packet; empty unless it is the last of several pieces.
std::string LinkDecoder::Join(Item& item, std::string_view packet, EVekEndian order) {
  Direction& direction = Of(item.from);
  const bool ends = item.code != PkBigPart;
  std::string_view text = packet.substr(std::min<std::size_t>(packet.size(), kPrefixBytes));
  if (packet.size() >= kPrefixBytes) text = text.substr(0, GetU16(packet.data() + kHeadBytes, order));
  item.messageBytes = direction.joined.size() + text.size() - (direction.joined.empty() ? 0 : kPrefixBytes);
  if (ends && direction.joined.empty()) return {};
  if (direction.joined.empty()) direction.joined.assign(kPrefixBytes, '\0');
  direction.tooLong = direction.tooLong || text.size() > kMostMessage - direction.joined.size();
  if (!direction.tooLong) direction.joined += text;
  ++direction.pieces;
  if (!ends) return {};
  if (direction.tooLong) Note(item.at, item.from, "a message is too long to be joined, and is cut");
  item.pieces = std::exchange(direction.pieces, 0);
  direction.tooLong = false;
  direction.joined.replace(0, kHeadBytes, packet.substr(0, kHeadBytes));
  return std::exchange(direction.joined, {});
}

void LinkDecoder::OnMissing(Moment at, Side from, std::uint64_t count) {
  Direction& direction = Of(from);
  Note(at, from, fmt::format("{} of the {}'s stream missing", Counted(count, "byte"), Who(from)));
  direction.started = true;
  direction.cutter.Skip(count);
  direction.sure = direction.sure && !direction.cutter.Lost();
  direction.joined.clear();
  direction.pieces = 0;
}

void LinkDecoder::OnEnd(Moment at) {
  for (const Side from : {Side::Client, Side::Server}) {
    const Direction& direction = Of(from);
    const std::string_view rest = direction.cutter.Rest();
    if (!rest.empty() && !direction.left)
      Note(at, from,
           fmt::format("the {}'s stream ends within a packet, of which {} came", Who(from),
                       Counted(rest.size(), "byte")));
    if (direction.pieces != 0)
      Note(at, from,
           fmt::format("the {}'s stream ends within a message, of which {} came", Who(from),
                       Counted(direction.pieces, "piece")));
  }
}

void LinkDecoder::Note(Moment at, Side from, const std::string& text) {
  Item item{.kind = Kind::Note, .at = at, .link = link_, .text = text, .from = from};
  output_.Show(item);
}

}  // namespace VekDump
