#include "platform/transport/TCPSetting.h"

#include <charconv>
#include <set>
#include <string_view>
#include <system_error>

namespace Dova {
namespace {

std::optional<int> ParseNumber(std::string_view text, int least, int most) {
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size() || value < least || value > most) return {};
  return value;
}

// Removes the next word; empty if there is none.
std::string_view NextWord(std::string_view& rest) {
  const std::size_t begin = rest.find_first_not_of(' ');
  if (begin == std::string_view::npos) return {};
  const std::size_t end = rest.find(' ', begin);
  const std::string_view word = rest.substr(begin, end - begin);
  rest = end == std::string_view::npos ? std::string_view{} : rest.substr(end);
  return word;
}

bool ParseAddress(std::string_view word, TTCPSetting& setting) {
  const std::size_t colon = word.rfind(':');
  if (colon == std::string_view::npos) return false;
  std::string_view host = word.substr(0, colon);
  const bool bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
  if (bracketed) host = host.substr(1, host.size() - 2);
  // A colon outside brackets makes the start of the port ambiguous.
  if (host.empty() || host.find_first_of(std::string_view("[]\0", 3)) != std::string_view::npos) return false;
  if (!bracketed && host.find(':') != std::string_view::npos) return false;
  const auto port = ParseNumber(word.substr(colon + 1), 1, 65535);
  if (!port) return false;
  setting.host = host;
  setting.port = static_cast<std::uint16_t>(*port);
  return true;
}

bool ParseOption(std::string_view word, TTCPSetting& setting, std::set<std::string_view>& seen) {
  const std::size_t equals = word.find('=');
  const std::string_view name = word.substr(0, equals);
  if (equals == std::string_view::npos) {
    if (name == "n") setting.noDelay = true;
    return name == "n" || name == "M0";
  }
  if (!seen.insert(name).second) return false;
  const std::string_view value = word.substr(equals + 1);
  std::optional<int> number;
  if (name == "ct" && (number = ParseNumber(value, 1, 3'600'000))) setting.connectTimeoutMs = *number;
  if (name == "sq" && (number = ParseNumber(value, 1, INT32_MAX))) setting.sendQueueBytes = *number;
  if (name == "mm" && (number = ParseNumber(value, 4096, 1 << 30))) setting.maxMessageBytes = *number;
  if (name == "spin" && (number = ParseNumber(value, 0, 1'000'000))) setting.spinUs = *number;
  return number.has_value();
}

}  // namespace

std::optional<TTCPSetting> TTCPSetting::Parse(const std::string& text, std::string* refused) {
  TTCPSetting setting;
  std::string_view rest = text;
  std::string_view word = NextWord(rest);
  bool understood = ParseAddress(word, setting);
  std::set<std::string_view> seen;
  while (understood && !(word = NextWord(rest)).empty()) understood = ParseOption(word, setting, seen);
  if (understood) return setting;
  if (refused != nullptr) *refused = word;
  return {};
}

}  // namespace Dova
