#include "sim/SimDay.h"

#include <limits>
#include <stdexcept>

#include "sim/SimFields.h"

namespace VekSim {

namespace {

using std::chrono::milliseconds;

constexpr int kMost = 1000000;

bool IsHandshake(const std::string& on) {
  return on == "connect" || on == "sign-on" || on == "password";
}

std::map<std::string, std::string> ReadWhere(const SimField& field) {
  std::map<std::string, std::string> where;
  if (!field.Is(Json::Kind::Object)) field.Fail("expected an object of arguments, {\"prod\": \"TXF\"}");
  for (const Json& member : field.Value().items) where[member.key] = field.At(member.key).Text();
  return where;
}

void ReadEvent(const SimField& field, SimRule& rule) {
  field.Only({"on", "nth", "times", "where", "do", "note"});
  rule.on = field.At("on").Text();
  if (rule.on.empty())
    field.At("on").Fail("expected connect, sign-on, password, request, query, order, or a verb");
  if (field.Has("nth")) {
    rule.nth = static_cast<int>(field.At("nth").Whole(1, kMost));
    rule.times = 1;
  }
  if (!field.Has("where")) return;
  rule.where = ReadWhere(field.At("where"));
  if (IsHandshake(rule.on)) field.At("where").Fail("only requests have arguments");
}

void ReadTime(const SimField& field, milliseconds start, SimRule& rule) {
  field.Only({"at", "every", "times", "do", "note"});
  const SimField at = field.At("at");
  rule.at = milliseconds(at.Is(Json::Kind::Text) ? at.TimeOfDay() - start.count() : at.Ms());
  if (rule.at < milliseconds(0)) at.Fail("is before the day's \"start\"");
  rule.times = 1;
  if (!field.Has("every")) return;
  rule.every = milliseconds(field.At("every").Whole(1, 24 * 3600 * 1000));
  rule.times.reset();
}

SimRule ReadRule(const SimField& field, milliseconds start) {
  if (!field.Is(Json::Kind::Object)) field.Fail("expected a rule, {\"on\": ..., \"do\": [...]}");
  if (field.Has("on") == field.Has("at")) field.Fail("needs one of \"on\" and \"at\"");
  SimRule rule;
  field.Has("on") ? ReadEvent(field, rule) : ReadTime(field, start, rule);
  if (field.Has("times")) rule.times = static_cast<int>(field.At("times").Whole(1, kMost));
  if (field.Has("note")) field.At("note").Text();
  const SimField list = field.At("do");
  for (std::size_t i = 0; i < list.Count(); ++i) {
    const SimField one = list.At(i);
    rule.actions.push_back(ReadAction(one));
    const SimDeed deed = rule.actions.back().deed;
    if (rule.on.empty() && NeedsRequest(deed)) one.Fail("is done to a request; this rule has a time");
    if (IsHandshake(rule.on) && NeedsRequest(deed) && deed != SimDeed::Reject)
      one.Fail("is done to a request");
  }
  if (rule.actions.empty()) list.Fail("is empty");
  return rule;
}

SimDay ReadRules(const SimField& root) {
  SimDay day;
  root.Only({"$schema", "note", "seed", "start", "rules"});
  if (root.Has("note")) root.At("note").Text();
  if (root.Has("seed")) {
    day.seed =
        static_cast<std::uint32_t>(root.At("seed").Whole(0, std::numeric_limits<std::uint32_t>::max()));
  }
  if (root.Has("start")) day.start = milliseconds(root.At("start").TimeOfDay());
  const SimField rules = root.At("rules");
  for (std::size_t i = 0; i < rules.Count(); ++i) {
    day.rules.push_back(ReadRule(rules.At(i), std::chrono::duration_cast<milliseconds>(day.start)));
  }
  return day;
}

}  // namespace

SimDay ReadDay(std::string_view json, const std::string& file) {
  try {
    const Json root = ReadJson(json);
    return ReadRules({root, {}});
  } catch (const JsonError& error) {
    throw std::runtime_error(file + ":" + error.what());
  }
}

}  // namespace VekSim
