#include "vekdump/PacketFields.h"

#include <fmt/core.h>

#include <algorithm>

#include "protocol/ConnectRequest.h"
#include "protocol/ConnectResult.h"
#include "protocol/PasswordChange.h"
#include "protocol/RequestPrefix.h"
#include "protocol/SignOn.h"
#include "vekapi/VekClient.h"
#include "vekdump/Text.h"

namespace VekDump {
namespace {

using namespace VekApi;

void Add(Item& item, const char* name, std::string text) {
  item.fields.push_back({name, std::move(text)});
}

template <class Number>
void AddNumber(Item& item, const char* name, Number number) {
  item.fields.push_back({name, std::to_string(number), true});
}

int Size(std::string_view bytes) {
  return static_cast<int>(bytes.size());
}

void ReadConnect(std::string_view packet, Item& item) {
  const auto request = ReadConnectRequest(packet);
  if (!request) return;
  const auto& v = request->version;
  Add(item, "application", WireText(request->name));
  Add(item, "version", fmt::format("{}.{}.{}.{}", v[0], v[1], v[2], v[3]));
  Add(item, "kind", OneLine(request->kind.substr(0, request->kind.find('\n'))));
  item.state = vcs_Connecting;
}

void ReadConnectAnswer(std::string_view packet, Item& item) {
  const auto result = ReadConnectResult(packet.data(), Size(packet));
  if (!result) return;
  Add(item, "server", WireText(result->serverName));
  Add(item, "byte order", result->cipher.Endian() == vek_LittleEndian ? "low byte first" : "high byte first");
  if (!result->key.empty() || result->mode != 0) {
    AddNumber(item, "scrambling", result->mode);
    Add(item, "key", HexDigits(result->key));
  }
  if (result->refusal) Add(item, "refused", WireText(*result->refusal));
  item.state = result->refusal ? vcs_ConnectError : vcs_Connected;
}

void ReadSessionRequest(std::string_view packet, Item& item) {
  if (packet[kHeadBytes] == PkSessionSignOn) {
    Add(item, "identity", WireText(ReadSignOnIdentity(packet.data(), Size(packet))));
    Add(item, "password", "********");
  } else if (packet[kHeadBytes] == PkSessionChgPass) {
    Add(item, "user", WireText(ReadChgPassUser(packet.data(), Size(packet))));
    for (const char* const name : {"old password", "new password"}) Add(item, name, "********");
  }
}

void ReadSessionAnswer(const Message& message, Item& item) {
  const std::string_view packet = message.bytes;
  if (packet[kHeadBytes] == PkSessionChgPass) {
    if (const auto result = ReadChgPassResult(packet.data(), Size(packet), message.order)) {
      Add(item, "user", WireText(result->user));
      Add(item, "message", WireText(result->message));
    }
  } else if (packet[kHeadBytes] == PkSessionSignOnReply) {
    const auto reply = ReadSignOnReply(packet.data(), Size(packet), message.order);
    if (!reply) return;
    AddNumber(item, "number", reply->number);
    Add(item, "message", WireText(reply->message));
    if (reply->number == 0) item.state = vcs_SgnError;
  }
}

void ReadResult(const Message& message, Item& item) {
  VekTaskResult result;
  result.Parse(message.bytes.data(), static_cast<unsigned>(message.bytes.size()), message.order);
  Add(item, "work id", WireText(result.WorkID()));
  if (result.WorkID() == "Sgn.Result") {
    item.name = "sign-on result";
    item.state = vcs_ApReady;
  }
  if (result.TableCount() == 0) item.text = WireText(result.OrigResult());
  item.result = std::move(result);
}

std::string_view TextOf(std::string_view message) {
  return message.substr(std::min<std::size_t>(message.size(), kPrefixBytes));
}

std::size_t Lines(std::string_view text) {
  const auto ends = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  return ends + (text.empty() || text.back() == '\n' ? 0 : 1);
}

void ReadText(const Message& message, Item& item) {
  const std::string_view text = TextOf(message.bytes);
  if (item.code == PkTaskResult) {
    Add(item, "work id", WireText(text.substr(0, text.find_first_of(" \n\x01"))));
  } else if (item.code == PkRequestAck) {
    const std::size_t lines = Lines(text);
    AddNumber(item, "requests", item.from == Side::Client ? (lines + 1) / 2 : lines);
  }
  item.text = WireText(text);
}

std::string SessionName(Side from, std::string_view packet) {
  const int subcode = packet.size() > kHeadBytes ? packet[kHeadBytes] : -1;
  const bool client = from == Side::Client;
  if (client && subcode == PkSessionSignOn) return "sign-on request";
  if (subcode == PkSessionChgPass) return client ? "password change" : "password change result";
  if (!client && subcode == PkSessionSignOnReply) return "sign-on reply";
  return "session packet";
}

}  // namespace

std::string NameOf(int code, Side from, std::string_view packet) {
  const bool client = from == Side::Client;
  switch (code) {
    case PkConnect:
      return client ? "connect request" : "connect result";
    case PkHeartbeat:
      return "heartbeat";
    case PkSession:
      return SessionName(from, packet);
    case PkBigPart:
      return "piece";
    case PkTaskResult:
      return client ? "query" : "task result";
    case PkRequestAck:
      return client ? "request batch" : "acknowledgement";
    case PkReport:
      return "report";
    case PkRequestAck2:
      return client ? "code 131" : "acknowledgement 131";
    default:
      return fmt::format("code {}", code);
  }
}

void ReadFields(const Message& message, Item& item) {
  const bool client = item.from == Side::Client;
  item.name = NameOf(item.code, item.from, message.bytes);
  switch (item.code) {
    case PkConnect:
      return client ? ReadConnect(message.bytes, item) : ReadConnectAnswer(message.bytes, item);
    case PkHeartbeat:
    case PkBigPart:
      return;
    case PkSession:
      if (message.bytes.size() <= kHeadBytes) return;
      return client ? ReadSessionRequest(message.bytes, item) : ReadSessionAnswer(message, item);
    case PkTaskResult:
      return client ? ReadText(message, item) : ReadResult(message, item);
    default:
      return ReadText(message, item);
  }
}

}  // namespace VekDump
