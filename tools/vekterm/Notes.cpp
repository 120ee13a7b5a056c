// Names of events.
#include <fmt/core.h>

#include "vekdump/Text.h"
#include "vekterm/Client.h"
#include "vekterm/Tables.h"

namespace VekTerm {
Note StateNote(const CVekEvent& event) {
  const std::int32_t number = event.cause != 0 ? event.cause : event.reason;
  const std::string reason = CVekApi_Text(vst_Reason, number, 0);
  const std::string detail = VekApi::ToUtf8(event.detail);
  std::string text = CVekApi_Text(vst_State, event.state, 0);
  if (number != 0) text += fmt::format(" ({}: {})", number, reason);
  if (!detail.empty()) text += ": " + detail;
  if (event.waitMs > 0) text += fmt::format("; again in {:.1f} s", event.waitMs / 1000.0);
  if (event.neverSent != 0) text += fmt::format("; {} never sent", event.neverSent);
  if (event.unknown != 0) text += fmt::format("; {} unknown", event.unknown);
  return {"state",
          text,
          {{"state", CVekApi_Text(vst_State, event.state, 0)},
           {"number", std::int64_t{event.state}},
           {"link", std::int64_t{event.link}},
           {"reason", std::int64_t{event.reason}},
           {"cause", std::int64_t{event.cause}},
           {"reasonText", reason},
           {"detail", detail},
           {"waitMs", std::int64_t{event.waitMs}}},
          {}};
}

Note FateNote(const Request& request) {
  const std::string fate = CVekApi_Text(vst_Fate, request.fate, 0);
  const std::string reason = CVekApi_Text(vst_Reason, request.reason, 0);
  std::string answer;
  for (const std::string& part : Parts(request.answer)) answer += (answer.empty() ? "" : " ") + part;
  std::string text = fmt::format("#{} {}: {}", request.number, request.workId, fate);
  if (request.reason != 0) text += " (" + reason + ")";
  if (!answer.empty()) text += ": " + answer;
  if (request.tookNs != 0) text += " in " + VekDump::Duration(request.tookNs);
  return {"fate",
          text,
          {{"ticket", request.number},
           {"workId", request.workId},
           {"code", std::int64_t{request.code}},
           {"request", request.text},
           {"fate", fate},
           {"number", std::int64_t{request.fate}},
           {"reason", std::int64_t{request.reason}},
           {"reasonText", reason},
           {"answer", answer},
           {"rejected", request.Rejected()},
           {"tookNs", request.tookNs}},
          {}};
}

// The library tells what a packet is; a text of the wire follows header and length.
Note TraceNote(const CVekEvent& event) {
  constexpr std::size_t kHead = 5;
  const bool out = (event.flags & vsg_Outbound) != 0;
  const std::string_view packet(event.text, event.textLength);
  const bool hasText = event.code >= 3 && packet.size() > kHead;
  return {"trace",
          fmt::format("{} {} ({}, {})", out ? "-->" : "<--", event.detail, event.code,
                      VekDump::Counted(packet.size(), "byte")),
          {{"from", out ? "client" : "server"},
           {"code", std::int64_t{event.code}},
           {"link", std::int64_t{event.link}},
           {"ns", event.atNs},
           {"bytes", static_cast<std::int64_t>(packet.size())},
           {"detail", std::string(event.detail)},
           {"body", hasText ? VekApi::ToUtf8(packet.substr(kHead)) : ""}},
          {}};
}

}  // namespace VekTerm
