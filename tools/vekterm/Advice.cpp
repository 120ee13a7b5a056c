#include "vekterm/Advice.h"

#include <algorithm>

#include "vekapi/VekSessionC.h"

namespace VekTerm {
namespace {

struct Remedy {
  std::int32_t reason;
  const char* cause;
  const char* remedy;
};

constexpr Remedy kRemedies[] = {
#define REASON(number, broad, english, chinese, cause, remedy) {number, cause, remedy},
#define CLIENT_STATE(number, english, chinese, cause, remedy)
#define SESSION_STATE(number, english, chinese, cause, remedy)
#define FATE(number, english, chinese, cause, remedy)
#include "keeper/Reasons.def"
};

}  // namespace

// They are written for pages, with `code` in backquotes.
std::string Advice(std::int32_t reason) {
  for (const Remedy& each : kRemedies) {
    if (each.reason != reason) continue;
    std::string text = std::string(each.cause) + ' ' + each.remedy;
    std::erase(text, '`');
    return text;
  }
  return {};
}

}  // namespace VekTerm
