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

// They are written for pages, with `code` in backquotes and links as [words](page.md).
std::string Plain(std::string text) {
  std::erase(text, '`');
  for (std::size_t from = 0; (from = text.find('[', from)) != std::string::npos; ++from) {
    const std::size_t page = text.find("](", from);
    const std::size_t end = text.find(')', page);
    if (end == std::string::npos) break;
    text.replace(from, end + 1 - from, "docs/" + text.substr(page + 2, end - page - 2));
  }
  return text;
}

}  // namespace

std::string Advice(std::int32_t reason) {
  for (const Remedy& each : kRemedies) {
    if (each.reason != reason) continue;
    return Plain(std::string(each.cause) + ' ' + each.remedy);
  }
  return {};
}

}  // namespace VekTerm
