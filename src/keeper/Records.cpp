#include "keeper/Records.h"

#include <string>
#include <string_view>

#include "keeper/Joined.h"
#include "keeper/Words.h"
#include "protocol/Recording.h"
#include "vekapi/VekTypes.h"

namespace VekApi {
namespace {

constexpr std::int64_t kHeldNs = 1'000'000;  // anything shorter does not count as held

TRecordHead HeadOf(const CVekEvent& event) {
  TRecordHead head;
  head.link = event.link;
  head.monotonicNs = event.atNs;
  head.wallNs = event.unixNs;
  return head;
}

std::string Record(TRecordHead head, std::string_view content) {
  content = content.substr(0, kMostRecordBytes);
  head.length = static_cast<std::uint32_t>(content.size());
  const TRecordHeadBytes bytes = WriteRecordHead(head);
  return std::string(bytes.data(), bytes.size()).append(content);
}

std::string Record(TRecordHead head, ERecord kind, std::string_view content) {
  head.kind = kind;
  return Record(head, content);
}

std::string RecordOfPacket(const CVekEvent& event) {
  TRecordHead head = HeadOf(event);
  head.fromServer = (event.flags & vsg_Outbound) == 0;
  if ((event.flags & vsg_LowFirst) != 0) head.order = ERecordOrder::Little;
  if ((event.flags & vsg_HighFirst) != 0) head.order = ERecordOrder::Big;
  return Record(head, {event.text, event.textLength});
}

std::string Why(const CVekEvent& event) {
  std::string why = WhyOf(event);
  if (event.detail && *event.detail) why += (why.empty() ? "" : ": ") + std::string(event.detail);
  return why;
}

std::string RecordOfState(const CVekEvent& event) {
  TRecordHead head = HeadOf(event);
  const std::string why = Why(event);
  switch (event.state) {
    case vss_Connecting:
      return Record(head, ERecord::LinkUp, "application to endpoint " + std::to_string(event.endpoint));
    case vss_SigningOn:
      head.state = vcs_Connected;
      return Record(head, ERecord::State, why);
    case vss_Resyncing:
    case vss_Up:
      head.state = vcs_ApReady;
      return Record(head, ERecord::State, why);
    case vss_Refused:
      head.state = vcs_SgnError;
      return Record(head, ERecord::State, why);
    case vss_Draining:
      return Record(head, ERecord::Note, WordsOf(vst_State, event.state, 0));
    default:
      return Record(head, ERecord::LinkEnd, why);
  }
}

// Records how long a request was held, and the fates that no packet shows.
std::string RecordOfFate(const CVekEvent& event) {
  const std::int64_t heldNs = event.handedNs - event.submittedNs;
  const bool held = event.handedNs != 0 && heldNs >= kHeldNs;
  if (!held && (event.fate == vsf_Answered || event.fate == vsf_Acknowledged || event.fate == vsf_Left))
    return {};
  std::string note = Joined({event.workId ? event.workId : "", ": ", WordsOf(vst_Fate, event.fate, 0)});
  if (event.reason != 0) note += Joined({" (", WordsOf(vst_Reason, event.reason, 0), ")"});
  if (held) note += Joined({", held ", std::to_string(heldNs / kHeldNs), " ms"});
  return Record(HeadOf(event), ERecord::Note, note);
}

}  // namespace

std::string RecordOf(const CVekEvent& event) {
  switch (event.kind) {
    case vse_Trace:
      if ((event.flags & vsg_Packet) != 0) return RecordOfPacket(event);
      return Record(HeadOf(event), ERecord::Note, Describe(event));
    case vse_State:
      return event.link == 0 ? std::string() : RecordOfState(event);
    case vse_Fate:
      return RecordOfFate(event);
    default:
      return {};
  }
}

}  // namespace VekApi
