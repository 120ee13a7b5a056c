// Received messages: the handshake, and events for the application.
#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>

#include "protocol/ConnectResult.h"
#include "protocol/Lookalike.h"
#include "protocol/PasswordChange.h"
#include "protocol/RequestPrefix.h"
#include "protocol/SignOn.h"
#include "session/TLink.h"
#include "session/TLinkWatch.h"
#include "session/TTextHandler.h"
#include "session/Texts.h"
#include "vekapi/VekSessionC.h"

namespace VekApi {
namespace {

// A value of the first record as an unsigned decimal number, 0 if it does not start with one; empty if there
// is no value.
std::optional<unsigned> NumberField(const VekTable& table, const char* name) {
  const char* text = table.RecordField(0, table.Fields().Field(name));
  if (!text) return {};
  while (*text == ' ' || (*text >= '\t' && *text <= '\r')) ++text;
  unsigned value = 0;
  const auto [end, error] = std::from_chars(text, text + std::char_traits<char>::length(text), value);
  return error == std::errc::result_out_of_range ? UINT32_MAX : value;
}

constexpr std::size_t kShownBytes = 80;
constexpr std::size_t kKeepBytes = 4096;  // of one event's text, until the next event

int ToInt(unsigned value) {
  return static_cast<int>(std::min<unsigned>(value, INT32_MAX));
}

}  // namespace

void TLink::ParsePacket(char* block, unsigned length) {
  if (Over()) return;
  if (TLinkWatch* const watch = impl_.Watch()) watch->OnReceived(length);
  if (!looked_ && !LooksRight({block, length})) return;
  packets_.Parse(block, length);
}

void TLink::OnStreamBroken(const char* reason) {
  End(vcs_LinkBroken, reason, reason == TPacketParser::kMessageTooLong ? vsr_LongMessage : vsr_BadStream);
}

// False if the server speaks another protocol; the link has then been ended.
bool TLink::LooksRight(std::string_view block) {
  start_.append(block.substr(0, kLooksBytes - start_.size()));
  const ELooks looks = LooksLike(start_);
  looked_ = looks != ELooks::Open;
  if (looks <= ELooks::Open) return true;
  std::string line(block.size() > start_.size() ? block.substr(0, kShownBytes) : start_);
  line.resize(std::min(line.size(), line.find_first_of(std::string_view("\0\r\n", 3))));
  const bool binary = looks == ELooks::Tls || looks == ELooks::Zeroes;
  End(vcs_LinkBroken, looks == ELooks::Zeroes ? TPacketParser::kBadPacketLength : NotOursText(looks),
      vsr_LooksHttp + static_cast<int>(looks) - static_cast<int>(ELooks::Http),
      std::string(NameOf(looks)) + (binary ? "" : ": " + line));
  return false;
}

void TLink::ForgetReceived() {
  packets_.Clear();
  spareResult_.reset();
  spareText_.reset();
}

void TLink::OnPkConnectResult(const char* packet, int length) {
  if (TLinkWatch* const watch = impl_.Watch())
    watch->OnMessageIn(PkConnect, packet, static_cast<std::size_t>(length));
  const auto result = ReadConnectResult(packet, length);
  if (!result) return;
  client_.parser_.serverName_ = result->serverName;
  client_.parser_.slot_->Set(result->cipher);
  packets_.SetCipher(result->cipher);
  knowsOrder_.store(true, std::memory_order_relaxed);
  if (result->refusal) {
    client_.OnVekConnectEvent(vcs_ConnectError, *result->refusal);
  } else {
    client_.OnVekConnectEvent(vcs_Connected, std::string());
  }
}

void TLink::OnPkSession(const char* packet, int length) {
  if (length <= kHeadBytes) return;
  if (TLinkWatch* const watch = impl_.Watch())
    watch->OnMessageIn(PkSession, packet, static_cast<std::size_t>(length));
  if (packet[kHeadBytes] == PkSessionChgPass) OnChgPassResult(packet, length);
  if (packet[kHeadBytes] == PkSessionSignOnReply) OnSgnReply(packet, length);
}

void TLink::OnSgnReply(const char* packet, int length) {
  const auto reply = ReadSignOnReply(packet, length, packets_.Cipher().Endian());
  if (!reply) return;
  client_.parser_.sgnReplyValue_ = reply->number;
  if (reply->number == 0) client_.OnVekConnectEvent(vcs_SgnError, std::string(reply->message));
}

void TLink::OnChgPassResult(const char* packet, int length) {
  const auto result = ReadChgPassResult(packet, length, packets_.Cipher().Endian());
  if (result) client_.OnVekChgPassResultEvent(std::string(result->user), std::string(result->message));
}

void TLink::OnMessage(int msgCode, char* message, std::size_t length) {
  if (TLinkWatch* const watch = impl_.Watch()) watch->OnMessageIn(msgCode, message, length);
  switch (msgCode) {
    case PkTaskResult:
      return OnTaskResult(message, length);
    case PkRequestAck:
    case PkRequestAck2:
    case PkReport:
      return OnText(msgCode, message, length);
    default:
      return client_.OnVekUnknownMsgCodeEvent(msgCode, message, static_cast<int>(length));
  }
}

void TLink::OnText(int msgCode, char* message, std::size_t length) {
  const std::size_t at = std::min<std::size_t>(length, kPrefixBytes);
  const std::string_view text(message + at, length - at);
  TTextHandler* const handler = impl_.TextHandler();
  if (!handler) return OnTextCopy(msgCode, text);
  const char next = std::exchange(message[length], '\0');
  handler->OnText(msgCode, text);
  message[length] = next;
}

// The copy is moved out of the link during the event, and its memory is reused for the next one.
void TLink::OnTextCopy(int msgCode, std::string_view received) {
  std::unique_ptr<std::string> text = spareText_ ? std::move(spareText_) : std::make_unique<std::string>();
  text->clear();
  text->append(received);  // inlined, unlike assign
  if (msgCode == PkReport) {
    client_.OnVekReportEvent(*text);
  } else {
    client_.OnVekRequestAckEvent(msgCode, *text);
  }
  if (!Over() && text->capacity() <= kKeepBytes) spareText_ = std::move(text);
}

void TLink::OnTaskResult(const char* message, std::size_t length) {
  std::unique_ptr<VekTaskResult> result =
      spareResult_ ? std::move(spareResult_) : std::make_unique<VekTaskResult>();
  if (!result->Parse(message, static_cast<unsigned>(length), packets_.Cipher().Endian(), over_)) return;
  if (result->WorkID() == "Sgn.Result") {
    OnSgnResult(*result);
  } else {
    client_.OnVekTaskResultEvent(*result);
  }
  if (Over()) return;
  if (length > kKeepBytes) result->Clear();
  spareResult_ = std::move(result);
}

void TLink::OnSgnResult(const VekTaskResult& result) {
  client_.parser_.sgnResult_ = result;
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
