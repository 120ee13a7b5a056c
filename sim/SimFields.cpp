#include "sim/SimFields.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace VekSim {

namespace {

constexpr std::int64_t kDayMs = 24 * 3600 * 1000;

std::string Listed(const std::vector<std::string_view>& names) {
  std::string list;
  for (const std::string_view name : names) list.append(list.empty() ? "" : ", ").append(name);
  return list;
}

std::int64_t Digits(std::string_view text) {
  std::int64_t number = 0;
  for (const char c : text) number = number * 10 + (c - '0');
  return number;
}

/// Whether the text has the pattern's form: 9 stands for a digit.
bool Matches(std::string_view text, std::string_view pattern) {
  return std::equal(text.begin(), text.end(), pattern.begin(), pattern.end(),
                    [](char c, char p) { return p == '9' ? c >= '0' && c <= '9' : c == p; });
}

}  // namespace

void SimField::Fail(const std::string& words) const {
  throw JsonError(json_->line, (path_.empty() ? "" : path_ + ": ") + words);
}

SimField SimField::At(std::string_view name) const {
  const Json* const member = json_->Member(name);
  if (member == nullptr) Fail("\"" + std::string(name) + "\" is missing");
  return {*member, (path_.empty() ? "" : path_ + ".") + std::string(name)};
}

SimField SimField::At(std::size_t index) const {
  return {json_->items.at(index), path_ + "[" + std::to_string(index) + "]"};
}

void SimField::Only(const std::vector<std::string_view>& names) const {
  if (!Is(Json::Kind::Object)) Fail("expected an object, {...}");
  for (const Json& member : json_->items) {
    if (std::find(names.begin(), names.end(), member.key) != names.end()) continue;
    At(member.key).Fail("there is no such field here; known are " + Listed(names));
  }
}

std::size_t SimField::Count() const {
  if (!Is(Json::Kind::List)) Fail("expected a list, [...]");
  return json_->items.size();
}

std::int64_t SimField::Whole(std::int64_t least, std::int64_t most) const {
  const double number = json_->number;
  if (!Is(Json::Kind::Number) || number != std::floor(number) || number < static_cast<double>(least) ||
      number > static_cast<double>(most)) {
    Fail("expected a whole number from " + std::to_string(least) + " to " + std::to_string(most));
  }
  return static_cast<std::int64_t>(number);
}

std::string SimField::Text() const {
  if (!Is(Json::Kind::Text)) Fail("expected a text in quotation marks");
  return json_->text;
}

std::string SimField::Word(std::initializer_list<std::string_view> words) const {
  if (!Is(Json::Kind::Text) || std::find(words.begin(), words.end(), json_->text) == words.end()) {
    Fail("expected one of: " + Listed(words));
  }
  return json_->text;
}

bool SimField::Yes() const {
  if (!Is(Json::Kind::Boolean) || json_->number != 1) Fail("expected true");
  return true;
}

int SimField::Price() const {
  const double hundredths = json_->number * 100;
  if (!Is(Json::Kind::Number) || !(hundredths >= 1 && hundredths <= 1e8)) {
    Fail("expected a price in points, from 0.01 to 1000000");
  }
  return static_cast<int>(std::lround(hundredths));
}

std::int64_t SimField::Ms() const {
  return Whole(0, kDayMs);
}

std::int64_t SimField::TimeOfDay() const {
  const std::string& text = json_->text;
  const bool whole = Matches(text, "99:99:99");
  if (Is(Json::Kind::Text) && (whole || Matches(text, "99:99:99.999"))) {
    const std::string_view t = text;
    const std::int64_t minutes = Digits(t.substr(3, 2)), seconds = Digits(t.substr(6, 2));
    const std::int64_t ms =
        ((Digits(t.substr(0, 2)) * 60 + minutes) * 60 + seconds) * 1000 + (whole ? 0 : Digits(t.substr(9)));
    if (minutes < 60 && seconds < 60 && ms < kDayMs) return ms;
  }
  Fail("expected a time of day, \"HH:MM:SS\" or \"HH:MM:SS.mmm\"");
}

}  // namespace VekSim
