#include "keeper/PacketWords.h"

#include <algorithm>

#include "keeper/Joined.h"
#include "platform/os/CodePage.h"
#include "platform/os/Utf8.h"
#include "protocol/ConnectRequest.h"
#include "protocol/ConnectResult.h"
#include "protocol/Masked.h"
#include "protocol/PasswordChange.h"
#include "protocol/RequestPrefix.h"
#include "protocol/SignOn.h"

namespace VekApi {
namespace {

constexpr std::size_t kMostShown = 120;

// The whole characters of a text that may begin and end within one.
std::string WholeUtf8(std::string_view text) {
  while (!text.empty() && (text.front() & 0xC0) == 0x80) text.remove_prefix(1);
  std::string whole;
  while (!text.empty()) {
    const auto character = Dova::Os::DecodeUtf8(text);
    if (character.code != Dova::Os::kIllFormedUtf8)
      whole += text.substr(0, character.bytes);
    else if (character.bytes < text.size())
      whole += '?';
    text.remove_prefix(character.bytes);
  }
  return whole;
}

// Always a single line.
std::string Shown(std::string_view text, bool isUtf8 = false) {
  const bool cut = text.size() > kMostShown;
  text = text.substr(0, kMostShown);
  std::string line;
  if (isUtf8) {
    line = WholeUtf8(text);
  } else {
    Dova::Os::CodePage950ToUtf8(text, line);
  }
  std::replace_if(
      line.begin(), line.end(), [](char c) { return Byte(c) < ' ' || c == '\x7F'; }, ' ');
  return cut ? line + "..." : line;
}

int Size(std::string_view bytes) {
  return static_cast<int>(bytes.size());
}

std::string ConnectRequestWords(std::string_view packet) {
  const auto request = ReadConnectRequest(packet);
  if (!request) return "connect request";
  std::string words = Joined({"connect request: application ", Shown(request->name), ", version "});
  for (const unsigned number : request->version) words += std::to_string(number) + '.';
  words.pop_back();
  return words;
}

std::string ConnectResultWords(std::string_view packet) {
  const auto result = ReadConnectResult(packet.data(), Size(packet));
  if (!result) return "connect result";
  if (result->refusal) return Joined({"connect result: refused, ", Shown(*result->refusal)});
  const bool low = result->cipher.Endian() == vek_LittleEndian;
  return Joined({"connect result: server ", Shown(result->serverName), ", ", low ? "low" : "high",
                 " byte first, scrambling ", std::to_string(result->mode), ", key of ",
                 std::to_string(result->key.size()), " bytes"});
}

std::string RequestWords(std::string_view packet) {
  constexpr std::string_view kStars = ", password ********";
  if (packet.size() > kHeadBytes && packet[kHeadBytes] == PkSessionSignOn)
    return Joined(
        {"sign-on request: identity ", Shown(ReadSignOnIdentity(packet.data(), Size(packet))), kStars});
  if (packet.size() > kHeadBytes && packet[kHeadBytes] == PkSessionChgPass)
    return Joined(
        {"password change: user ", Shown(ReadChgPassUser(packet.data(), Size(packet))), kStars, kStars});
  return "session packet";
}

std::string AnswerWords(std::string_view packet, EVekEndian endian) {
  const int subcode = packet.size() > kHeadBytes ? packet[kHeadBytes] : -1;
  if (subcode == PkSessionSignOnReply) {
    const auto reply = ReadSignOnReply(packet.data(), Size(packet), endian);
    if (reply) return Joined({"sign-on reply: ", std::to_string(reply->number), ", ", Shown(reply->message)});
  }
  if (subcode == PkSessionChgPass) {
    const auto result = ReadChgPassResult(packet.data(), Size(packet), endian);
    if (result)
      return Joined({"password change result: ", Shown(result->user), ", ", Shown(result->message)});
  }
  return "session packet";
}

std::string NameOf(int code, bool fromServer) {
  switch (code) {
    case PkBigPart:
      return "piece";
    case PkTaskResult:
      return fromServer ? "task result" : "query";
    case PkRequestAck:
      return fromServer ? "acknowledgement" : "request";
    case PkReport:
      return "report";
    default:
      return "code " + std::to_string(code);
  }
}

}  // namespace

std::string TPacketWords::Of(std::string_view packet, bool fromServer, ERecordOrder order) {
  const TServerText found = fromServer ? texts_.Of(packet) : TServerText();
  const EVekEndian endian = order == ERecordOrder::Big ? vek_BigEndian : vek_LittleEndian;
  const int code = PkCode(packet.data());
  if (code == PkConnect) return fromServer ? ConnectResultWords(packet) : ConnectRequestWords(packet);
  if (code == PkHeartbeat) return "heartbeat";
  if (code == PkSession) return fromServer ? AnswerWords(packet, endian) : RequestWords(packet);
  packet.remove_prefix(std::min<std::size_t>(packet.size(), kPrefixBytes));
  const std::string id = found.workId.empty() ? "" : Shown(found.workId) + ' ';
  return Joined({NameOf(code, fromServer), " of ", std::to_string(packet.size()), " bytes: ", id,
                 Shown(fromServer ? found.text : packet, found.isUtf8)});
}

}  // namespace VekApi
