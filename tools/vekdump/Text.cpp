#include "vekdump/Text.h"

#include <fmt/core.h>

#include <algorithm>
#include <chrono>

#include "platform/os/CodePage.h"
#include "platform/os/Utf8.h"
#include "protocol/Packet.h"

namespace VekDump {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;

struct Clock {
  std::chrono::year_month_day date;
  std::int64_t hour, minute, second, ns;
};

Clock ClockOf(std::int64_t wallNs) {
  using namespace std::chrono;
  const sys_time<nanoseconds> at{nanoseconds(std::max<std::int64_t>(wallNs, 0))};
  const auto day = floor<days>(at);
  const std::int64_t rest = duration_cast<nanoseconds>(at - day).count();
  return {year_month_day(day), rest / (3600 * kSecond), rest / (60 * kSecond) % 60, rest / kSecond % 60,
          rest % kSecond};
}

bool IsControl(std::uint32_t code) {
  return code < 0x20 || (code >= 0x7F && code < 0xA0);
}

}  // namespace

std::string WireText(std::string_view bytes) {
  std::string text;
  Dova::Os::CodePage950ToUtf8(bytes, text);
  return text;
}

std::string ValidUtf8(std::string_view text) {
  std::string valid;
  while (!text.empty()) {
    const auto character = Dova::Os::DecodeUtf8(text);
    if (character.code == Dova::Os::kIllFormedUtf8) {
      valid += '?';
    } else {
      valid += text.substr(0, character.bytes);
    }
    text.remove_prefix(character.bytes);
  }
  return valid;
}

std::string OneLine(std::string_view utf8) {
  std::string line;
  while (!utf8.empty()) {
    const auto character = Dova::Os::DecodeUtf8(utf8);
    if (character.code == 0x01) {
      line += " | ";
    } else if (IsControl(character.code)) {
      line += '?';
    } else {
      line += utf8.substr(0, character.bytes);
    }
    utf8.remove_prefix(character.bytes);
  }
  return line;
}

std::string Duration(std::int64_t ns) {
  if (ns < 0) return "-" + Duration(ns == INT64_MIN ? INT64_MAX : -ns);
  const auto value = static_cast<double>(ns);
  if (ns < 1'000'000) return fmt::format("{:.1f} us", value / 1e3);
  if (ns < kSecond) return fmt::format("{:.3f} ms", value / 1e6);
  if (ns < 100 * kSecond) return fmt::format("{:.3f} s", value / 1e9);
  const std::int64_t seconds = ns / kSecond;
  if (seconds < 3600) return fmt::format("{} min {} s", seconds / 60, seconds % 60);
  return fmt::format("{} h {} min", seconds / 3600, seconds / 60 % 60);
}

std::string IsoTime(std::int64_t wallNs) {
  const Clock clock = ClockOf(wallNs);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:09}Z", static_cast<int>(clock.date.year()),
                     static_cast<unsigned>(clock.date.month()), static_cast<unsigned>(clock.date.day()),
                     clock.hour, clock.minute, clock.second, clock.ns);
}

std::string ClockTime(std::int64_t wallNs) {
  const Clock clock = ClockOf(wallNs);
  return fmt::format("{:02}:{:02}:{:02}.{:06}", clock.hour, clock.minute, clock.second, clock.ns / 1000);
}

std::string HexLines(std::string_view bytes, std::string_view indent) {
  constexpr std::size_t kWidth = 16;
  std::string lines;
  for (std::size_t at = 0; at < bytes.size(); at += kWidth) {
    std::string hex, shown;
    for (const char c : bytes.substr(at, kWidth)) {
      hex += fmt::format("{:02x} ", VekApi::Byte(c));
      shown += VekApi::Byte(c) >= 0x20 && VekApi::Byte(c) < 0x7F ? c : '.';
    }
    lines += fmt::format("{}{:04x}  {:<48} {}\n", indent, at, hex, shown);
  }
  return lines;
}

std::string HexDigits(std::string_view bytes) {
  std::string digits;
  for (const char c : bytes) digits += fmt::format("{:02x}", VekApi::Byte(c));
  return digits;
}

std::string_view Front(std::string_view utf8, std::size_t most) {
  if (utf8.size() <= most) return utf8;
  std::size_t end = most;
  while (end > 0 && (utf8[end] & 0xC0) == 0x80) --end;
  return utf8.substr(0, end);
}

std::string Shortened(std::string_view utf8, std::size_t most) {
  const std::string_view front = Front(utf8, most);
  if (front.size() == utf8.size()) return std::string(utf8);
  return fmt::format("{} ... {} more bytes", front, utf8.size() - front.size());
}

std::string Counted(std::uint64_t count, std::string_view noun) {
  return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

}  // namespace VekDump
