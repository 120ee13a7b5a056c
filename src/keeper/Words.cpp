#include "keeper/Words.h"

#include <cstddef>
#include <cstring>

#include "platform/os/CodePage.h"

namespace VekApi {
namespace {

struct TWords {
  std::int16_t what;
  std::int16_t value;
  std::int16_t broad;
};

constexpr TWords kWords[] = {
#define CLIENT_STATE(number, english, chinese, cause, remedy) {vst_ClientState, number, 0},
#define SESSION_STATE(number, english, chinese, cause, remedy) {vst_State, number, 0},
#define FATE(number, english, chinese, cause, remedy) {vst_Fate, number, 0},
#define REASON(number, broad, english, chinese, cause, remedy) {vst_Reason, number, broad},
#include "keeper/Reasons.def"
};

// English, then Chinese, for each. Pointers would be as many bytes again, and relocated at every start.
constexpr char kTexts[] =
#define CLIENT_STATE(number, english, chinese, cause, remedy) english "\0" chinese "\0"
#define SESSION_STATE(number, english, chinese, cause, remedy) english "\0" chinese "\0"
#define FATE(number, english, chinese, cause, remedy) english "\0" chinese "\0"
#define REASON(number, broad, english, chinese, cause, remedy) english "\0" chinese "\0"
#include "keeper/Reasons.def"
    ;

// Null if there is none.
const TWords* Find(std::int32_t what, std::int32_t value) noexcept {
  for (const TWords& words : kWords) {
    if (words.what == what && words.value == value) return &words;
  }
  return nullptr;
}

const char* TextAt(std::ptrdiff_t index) noexcept {
  const char* text = kTexts;
  for (; index > 0; --index) text += std::strlen(text) + 1;
  return text;
}

const char* KindOf(std::int32_t kind) {
  constexpr const char* kKinds[] = {"event",  "state", "fate",      "late answer",
                                    "report", "stray", "gate open", "trace"};
  return kind >= vse_State && kind <= vse_Trace ? kKinds[kind] : kKinds[0];
}

void Add(std::string& line, const char* name, std::uint64_t value) {
  line.append(" ").append(name).append(" ").append(std::to_string(value));
}

// One line stays one line.
void AddText(std::string& line, const char* text) {
  for (; text && *text; ++text) line += static_cast<unsigned char>(*text) < ' ' ? ' ' : *text;
}

void AddReason(std::string& line, const CVekEvent& event) {
  if (const std::string why = WhyOf(event); !why.empty()) line.append(" (").append(why).append(")");
  if (!event.detail || !*event.detail) return;
  line += ": ";
  if (event.kind == vse_Trace) return AddText(line, event.detail);
  // A server's words are code page 950, this library's are ASCII.
  std::string detail;
  Dova::Os::CodePage950ToUtf8(event.detail, detail);
  AddText(line, detail.c_str());
}

void AddState(std::string& line, const CVekEvent& event) {
  line.append(": ").append(WordsOf(vst_State, event.state, 0));
  AddReason(line, event);
  if (event.state == vss_Waiting && event.waitMs >= 0)
    Add(line, "ms", static_cast<std::uint64_t>(event.waitMs));
  if (event.neverSent != 0) Add(line, "never sent", event.neverSent);
  if (event.unknown != 0) Add(line, "unknown", event.unknown);
  Add(line, "attempt", event.attempt);
  Add(line, "endpoint", event.endpoint);
}

}  // namespace

const char* WordsOf(std::int32_t what, std::int32_t value, std::int32_t language) noexcept {
  const TWords* const words = Find(what, value);
  if (!words) return "";
  return TextAt(2 * (words - kWords) + (language == 1 ? 1 : 0));
}

std::int32_t BroadReason(std::int32_t reason) noexcept {
  const TWords* const words = Find(vst_Reason, reason);
  return words ? words->broad : reason;
}

std::string WhyOf(const CVekEvent& event) {
  const std::int32_t finest = event.cause != 0 ? event.cause : event.reason;
  std::string why;
  if (event.state == vss_Stopped && BroadReason(finest) != event.reason)
    why.append(WordsOf(vst_Reason, event.reason, 0)).append("; ");
  return why += WordsOf(vst_Reason, finest, 0);
}

std::string Describe(const CVekEvent& event) {
  std::string line = KindOf(event.kind);
  Add(line, "link", event.link);
  if (event.kind == vse_State) {
    AddState(line, event);
    return line;
  }
  if (event.code != 0) Add(line, "code", static_cast<std::uint64_t>(event.code));
  if (event.ticket != 0) Add(line, "ticket", event.ticket);
  if (event.workId && *event.workId) line += " id ", AddText(line, event.workId);
  if (event.fate != vsf_None) line.append(": ").append(WordsOf(vst_Fate, event.fate, 0));
  if ((event.flags & vsg_Outbound) != 0) line += " out";
  AddReason(line, event);
  if (event.textLength != 0) Add(line, "bytes", event.textLength);
  return line;
}

}  // namespace VekApi
