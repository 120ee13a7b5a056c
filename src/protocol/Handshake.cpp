// What the parser does with connect results, sign-on replies and results, and password change results.
#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

#include "protocol/Cipher.h"
#include "protocol/Packet.h"
#include "vekapi/VekClient.h"

namespace VekApi {
namespace {

// Reads a packet from some offset on; what is not there is cut.
class TReader {
 public:
  TReader(const char* packet, int length, int offset, EVekEndian endian)
      : rest_(packet, static_cast<std::size_t>(length)), endian_(endian) {
    Text(static_cast<std::size_t>(offset));
  }

  std::string_view Text(std::size_t length) {
    const std::string_view text = rest_.substr(0, length);
    rest_.remove_prefix(text.size());
    return text;
  }
  std::size_t U8() {
    const std::string_view byte = Text(1);
    return byte.empty() ? 0 : Byte(byte[0]);
  }
  std::size_t U16() {
    const std::string_view bytes = Text(2);
    return bytes.size() < 2 ? 0 : GetU16(bytes.data(), endian_);
  }
  std::size_t Left() const { return rest_.size(); }

 private:
  std::string_view rest_;
  EVekEndian endian_;
};

// Connect result: byte 3 outcome, 4-7 byte-order answer, 8-15 server version (four numbers), 16 length of the
// server's name, 18-19 length of the item area; the name and the items follow from byte 20.
constexpr int kConnectResultBytes = 20;
constexpr int kVersionAt = 8;
constexpr int kNameLengthAt = 16;
constexpr int kItemsLengthAt = 18;
constexpr char kRefused = 1;

// An item that announces no more than its own head or more than is left ends the list.
constexpr std::size_t kItemHeadBytes = 3;

struct TItem {
  std::string_view tag;
  std::string_view data;
};

std::optional<TItem> NextItem(TReader& items) {
  if (items.Left() <= kItemHeadBytes) return {};
  const std::size_t tagLength = items.U8();
  const std::size_t dataLength = items.U16();
  if (tagLength + dataLength > items.Left()) return {};
  const std::string_view tag = items.Text(tagLength);
  return TItem{tag, items.Text(dataLength)};
}

std::string ServerNameOf(const char* packet, int length, EVekEndian endian) {
  TReader name(packet, length, kConnectResultBytes, endian);
  std::string text(name.Text(Byte(packet[kNameLengthAt])));
  for (int at = kVersionAt; at < kNameLengthAt; at += 2)
    text += '.' + std::to_string(GetU16(packet + at, endian));
  return text;
}

// A record's value as an unsigned decimal number, 0 when it does not begin with one; nothing when there is no
// value.
std::optional<unsigned> NumberField(const VekTable& table, const char* name) {
  const char* text = table.RecordField(0, table.Fields().Field(name));
  if (!text) return {};
  while (*text == ' ' || (*text >= '\t' && *text <= '\r')) ++text;
  unsigned value = 0;
  const auto [end, error] = std::from_chars(text, text + std::char_traits<char>::length(text), value);
  return error == std::errc::result_out_of_range ? UINT32_MAX : value;
}

// Whatever the sign of char.
int SignedByte(char c) {
  return c & 0x80 ? static_cast<int>(Byte(c)) - 0x100 : static_cast<int>(Byte(c));
}

int ToInt(unsigned value) {
  return static_cast<int>(std::min<unsigned>(value, INT32_MAX));
}

}  // namespace

void VekClientParser::OnPkConnectResult(const char* packet, int length) {
  if (length < kConnectResultBytes) return;
  const EVekEndian endian = packet[4] == 'x' ? vek_LittleEndian : vek_BigEndian;
  serverName_ = ServerNameOf(packet, length, endian);

  const std::size_t itemsAt = kConnectResultBytes + Byte(packet[kNameLengthAt]);
  const std::size_t itemsEnd = itemsAt + GetU16(packet + kItemsLengthAt, endian);
  TReader items(packet, static_cast<int>(std::min<std::size_t>(itemsEnd, static_cast<std::size_t>(length))),
                static_cast<int>(itemsAt), endian);
  int mode = 0;
  std::string_view key;
  std::optional<std::string> refusal;
  while (const auto item = NextItem(items)) {
    if (item->tag == "ERROR\n" && packet[3] == kRefused) {
      refusal = std::string(item->data);
      break;
    }
    if (item->tag == "VekEnc\n" && item->data.size() >= 2 && 2 + Byte(item->data[1]) <= item->data.size()) {
      mode = SignedByte(item->data[0]);
      key = item->data.substr(2, Byte(item->data[1]));
    }
  }
  slot_->Set(TCipher(endian, mode, std::string(key)));
  if (refusal) {
    client_.OnVekConnectEvent(vcs_ConnectError, *refusal);
  } else {
    client_.OnVekConnectEvent(vcs_Connected, std::string());
  }
}

void VekClientParser::OnPkSession(const char* packet, int length) {
  if (length <= kHeadBytes) return;
  if (packet[kHeadBytes] == PkSessionChgPass) OnChgPassResult(packet, length);
  if (packet[kHeadBytes] == PkSessionSignOnReply) OnSgnReply(packet, length);
}

// Sign-on reply: byte 4 length of a lead text, 5-6 of the message, 7-10 reply number, from 11 the two texts.
void VekClientParser::OnSgnReply(const char* packet, int length) {
  constexpr int kTextsAt = 11;
  if (length < kTextsAt) return;
  const EVekEndian endian = CipherInside().Endian();
  sgnReplyValue_ = GetU32(packet + 7, endian);
  if (sgnReplyValue_ != 0) return;
  TReader texts(packet, length, kTextsAt, endian);
  texts.Text(Byte(packet[4]));
  client_.OnVekConnectEvent(vcs_SgnError, std::string(texts.Text(GetU16(packet + 5, endian))));
}

// Password change result: bytes 4 and 5 lengths of two texts, from 6 the texts.
void VekClientParser::OnChgPassResult(const char* packet, int length) {
  constexpr int kTextsAt = 6;
  if (length < kTextsAt) return;
  TReader texts(packet, length, kTextsAt, CipherInside().Endian());
  const std::string user(texts.Text(Byte(packet[4])));
  const std::string message(texts.Text(Byte(packet[5])));
  client_.OnVekChgPassResultEvent(user, message);
}

void VekClientParser::OnSgnResult(const VekTaskResult& result) {
  sgnResult_ = result;
  const VekTable* rates = result.Table("head");
  if (!rates) rates = result.Table("mod");
  unsigned count = 0;
  unsigned intervalMs = 1000;
  if (rates) {
    const auto rate = NumberField(*rates, "QueryRate");
    const auto period = rate ? NumberField(*rates, "QueryRateMS") : std::nullopt;
    count = rate.value_or(0);
    if (period.value_or(0) != 0) intervalMs = *period;
  }
  client_.SetQueryRate(ToInt(count), ToInt(intervalMs));
  client_.OnVekApReadyEvent();
}

}  // namespace VekApi
