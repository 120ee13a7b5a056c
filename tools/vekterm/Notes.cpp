// Names of events.
#include <fmt/core.h>

#include "vekdump/Text.h"
#include "vekterm/Client.h"
#include "vekterm/Tables.h"

namespace VekTerm {

std::string BeyondReason(std::string_view reason, const std::string& detail) {
  const std::size_t colon = detail.find(": ");
  const std::string_view name = std::string_view(detail).substr(0, colon);
  if (name.empty() || reason.find(name) == std::string_view::npos) return detail;
  return colon == std::string::npos ? std::string() : detail.substr(colon + 2);
}

Note StateNote(const CVekEvent& event) {
  const std::int32_t number = event.cause != 0 ? event.cause : event.reason;
  const std::string reason = CVekApi_Text(vst_Reason, number, 0);
  const std::string detail = VekApi::ToUtf8(event.detail);
  std::string text = CVekApi_Text(vst_State, event.state, 0);
  if (number != 0) text += fmt::format(" ({}: {})", number, reason);
  if (const std::string more = BeyondReason(reason, detail); !more.empty()) text += ": " + more;
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

// The library tells what a packet is.
Note TraceNote(const CVekEvent& event, const VekApi::TServerText& text) {
  const bool out = (event.flags & vsg_Outbound) != 0;
  const std::string_view packet(event.text, event.textLength);
  return {"trace",
          fmt::format("{} {} ({}, {})", out ? "-->" : "<--", event.detail, event.code,
                      VekDump::Counted(packet.size(), "byte")),
          {{"from", out ? "client" : "server"},
           {"code", std::int64_t{event.code}},
           {"link", std::int64_t{event.link}},
           {"ns", event.atNs},
           {"bytes", static_cast<std::int64_t>(packet.size())},
           {"detail", std::string(event.detail)},
           {"workId", VekApi::ToUtf8(text.workId)},
           {"body", text.isUtf8 ? VekDump::ValidUtf8(text.text) : VekApi::ToUtf8(text.text)}},
          {}};
}

}  // namespace VekTerm
