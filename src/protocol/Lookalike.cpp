#include "protocol/Lookalike.h"

#include <algorithm>

#include "protocol/Packet.h"

namespace VekApi {
namespace {

bool IsText(char c) {
  return (c >= ' ' && c <= '~') || c == '\r' || c == '\n' || c == '\t';
}

// A shorter start may still turn into `whole`.
ELooks IfStarts(std::string_view start, std::string_view whole, ELooks then) {
  if (start.size() >= whole.size()) return start.starts_with(whole) ? then : ELooks::Ours;
  return whole.starts_with(start) ? ELooks::Open : ELooks::Ours;
}

// An alert consists of its level and description only. A ServerHello's own length must fit into its record's.
ELooks IfTls(std::string_view s) {
  constexpr std::size_t kAlertBytes = 7;
  constexpr std::size_t kHelloBytes = 11;
  const auto may = [&](std::size_t at, auto test) { return at >= s.size() || test(Byte(s[at])); };
  const bool alert = s[0] == 0x15;
  if (!may(1, [](unsigned b) { return b == 3; }) || !may(2, [](unsigned b) { return b <= 4; }))
    return ELooks::Ours;
  if (alert) {
    const bool fits = may(3, [](unsigned b) { return b == 0; }) &&
                      may(4, [](unsigned b) { return b == 2; }) &&
                      may(5, [](unsigned b) { return b == 1 || b == 2; });
    if (!fits) return ELooks::Ours;
    return s.size() < kAlertBytes ? ELooks::Open : ELooks::Tls;
  }
  if (!may(5, [](unsigned b) { return b == 2; }) || !may(6, [](unsigned b) { return b == 0; }) ||
      !may(9, [](unsigned b) { return b == 3; }) || !may(10, [](unsigned b) { return b <= 4; }))
    return ELooks::Ours;
  if (s.size() < kHelloBytes) return ELooks::Open;
  const std::size_t record = GetU16(s.data() + 3, vek_BigEndian);
  return GetU16(s.data() + 7, vek_BigEndian) + std::size_t{4} <= record ? ELooks::Tls : ELooks::Ours;
}

// The start of the first line, or a whole line, consisting of text only.
ELooks IfText(std::string_view s) {
  if (!std::all_of(s.begin(), s.end(), IsText)) return ELooks::Ours;
  const bool json = s[0] == '{' || s[0] == '[';
  if (s.size() > 1 && s[1] < ' ' && !json) return ELooks::Ours;
  const std::size_t line = s.find('\n');
  if (s.size() < kLooksBytes && (line == std::string_view::npos || line < 3)) return ELooks::Open;
  const bool numbered = s.find_first_not_of("0123456789") == 3 && (s[3] == ' ' || s[3] == '-');
  if (numbered) return ELooks::Mail;
  return json ? ELooks::Json : ELooks::Text;
}

}  // namespace

ELooks LooksLike(std::string_view start) {
  start = start.substr(0, kLooksBytes);
  if (start.empty()) return ELooks::Open;
  if (start[0] == '\0') {
    if (start.find_first_not_of('\0') != std::string_view::npos) return ELooks::Ours;
    return start.size() < kHeadBytes ? ELooks::Open : ELooks::Zeroes;
  }
  if (start[0] == 0x15 || start[0] == 0x16) return IfTls(start);
  for (const ELooks looks :
       {IfStarts(start, "HTTP/1.", ELooks::Http), IfStarts(start, "<!DOCTYPE", ELooks::Http),
        IfStarts(start, "SSH-", ELooks::Ssh)}) {
    if (looks != ELooks::Ours) return looks;
  }
  return IfText(start);
}

std::string NotOursText(ELooks looks) {
  return std::string("Not this protocol: ") + NameOf(looks);
}

const char* NameOf(ELooks looks) {
  constexpr const char* kNames[] = {"",
                                    "",
                                    "an HTTP answer",
                                    "TLS",
                                    "an SSH server's greeting",
                                    "the greeting of a mail or FTP server",
                                    "JSON",
                                    "plain text",
                                    "nothing but zeroes"};
  return kNames[static_cast<int>(looks)];
}

}  // namespace VekApi
