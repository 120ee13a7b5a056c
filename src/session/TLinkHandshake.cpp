// The server's side of the handshake, and its other session messages.
#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

#include "protocol/ConnectResult.h"
#include "protocol/Lookalike.h"
#include "protocol/PasswordChange.h"
#include "protocol/SignOn.h"
#include "protocol/TPacketParser.h"
#include "session/TLink.h"
#include "session/TLinkWatch.h"
#include "session/Texts.h"
#include "vekapi/VekSessionC.h"
#include "vekapi/VekTaskResult.h"

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

int ToInt(unsigned value) {
  return static_cast<int>(std::min<unsigned>(value, INT32_MAX));
}

}  // namespace

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
  if (client_.State() == vcs_HeartbeatTimeout) OnSent();  // the heartbeat had ended
  client_.OnVekApReadyEvent();
}

}  // namespace VekApi
