#include "sim/SimChange.h"

#include <array>
#include <charconv>
#include <vector>

namespace VekSim {

namespace {

constexpr std::array<std::string_view, 7> kNames{"new",    "amend", "cancel", "fill",
                                                 "reject", "price", "forget"};
constexpr std::size_t kNewWords = 12;  // the last is the account, which may be empty

std::vector<std::string_view> Split(std::string_view line) {
  std::vector<std::string_view> words;
  for (std::size_t end = line.find(' '); end != std::string_view::npos && words.size() + 1 < kNewWords;
       end = line.find(' ')) {
    words.push_back(line.substr(0, end));
    line.remove_prefix(end + 1);
  }
  words.push_back(line);
  return words;
}

template <class Number>
bool Read(std::string_view word, Number& number) {
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  return error == std::errc() && end == word.data() + word.size();
}

bool ReadSide(std::string_view word, char& side) {
  side = word.empty() ? ' ' : word[0];
  return word == "B" || word == "S";
}

bool ReadForceLetter(std::string_view word, TimeInForce& force) {
  if (word != "R" && word != "I" && word != "F") return false;
  force = static_cast<TimeInForce>(word[0]);
  return true;
}

bool ReadOrder(const std::vector<std::string_view>& words, SimOrder& order) {
  std::int64_t at = 0;
  int held = 0;
  if (words.size() != kNewWords) return false;
  order.number = words[1];
  order.workId = words[2];
  order.product = words[4];
  order.account = words[11];
  if (!Read(words[3], order.session) || !ReadSide(words[5], order.side) || !Read(words[6], order.quantity) ||
      !Read(words[7], order.price) || !ReadForceLetter(words[8], order.force) || !Read(words[9], held) ||
      !Read(words[10], at)) {
    return false;
  }
  order.held = held != 0;
  order.at = std::chrono::microseconds(at);
  return true;
}

std::string Joined(std::initializer_list<std::string> words) {
  std::string line;
  for (const std::string& word : words) line += (line.empty() ? "" : " ") + word;
  return line;
}

}  // namespace

std::string LineOf(const SimChange& change) {
  const std::string name(kNames[static_cast<std::size_t>(change.kind)]);
  const SimOrder& o = change.order;
  if (change.kind == SimChange::Kind::Forget) return name;
  if (change.kind != SimChange::Kind::New) {
    return Joined({name, change.id, std::to_string(change.quantity), std::to_string(change.price)});
  }
  return Joined({name, o.number, o.workId, std::to_string(o.session), o.product, std::string(1, o.side),
                 std::to_string(o.quantity), std::to_string(o.price),
                 std::string(1, static_cast<char>(o.force)), o.held ? "1" : "0",
                 std::to_string(o.at.count())}) +
         " " + o.account;
}

std::optional<SimChange> ReadChange(std::string_view line) {
  const auto words = Split(line);
  SimChange change;
  std::size_t kind = 0;
  while (kind < kNames.size() && kNames[kind] != words[0]) ++kind;
  if (kind == kNames.size()) return {};
  change.kind = static_cast<SimChange::Kind>(kind);
  bool good = words.size() == 1;
  if (change.kind == SimChange::Kind::New) {
    good = ReadOrder(words, change.order);
  } else if (change.kind != SimChange::Kind::Forget) {
    good = words.size() == 4 && Read(words[2], change.quantity) && Read(words[3], change.price);
    if (good) change.id = words[1];
  }
  if (!good) return {};
  return change;
}

}  // namespace VekSim
