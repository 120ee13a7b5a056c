// The actions of a script: their names, fields and words.
#include <algorithm>

#include "sim/SimDay.h"
#include "sim/SimFields.h"
#include "sim/SimMarket.h"

namespace VekSim {

namespace {

constexpr int kMostMs = 24 * 3600 * 1000;
constexpr int kMostFilled = 499;

void ReadAccept(const SimField& field, SimAction&) {
  field.At("accept").Yes();
}

void ReadFill(const SimField& field, SimAction& action) {
  const SimField lots = field.At("fill");
  if (lots.Is(Json::Kind::Number)) {
    action.lots = static_cast<int>(lots.Whole(1, kMostFilled));
  } else if (!lots.Is(Json::Kind::Text) || lots.Text() != "rest") {
    lots.Fail("expected a number of lots, or \"rest\"");
  }
  if (field.Has("price")) action.price = field.At("price").Price();
}

void ReadAck(const SimField& field, SimAction& action) {
  action.text = field.At("ack").Word({"missing", "doubled", "late"});
  if (action.text == "late" && !field.Has("after")) field.Fail("\"late\" needs \"after\"");
}

void ReadMove(const SimField& field, SimAction& action) {
  action.product = field.At("move").Text();
  if (SimMarket::Find(action.product) == nullptr) {
    field.At("move").Fail("there is no product \"" + action.product + "\"");
  }
  if (field.Has("to") == field.Has("walk")) field.Fail("needs one of \"to\" and \"walk\"");
  if (field.Has("to")) action.price = field.At("to").Price();
  if (field.Has("walk")) action.walk = static_cast<int>(field.At("walk").Whole(1, 1000));
  action.lots =
      field.Has("lots") ? static_cast<int>(field.At("lots").Whole(0, 1000000)) : SimMarket::kUnlimited;
}

void ReadClose(const SimField& field, SimAction& action) {
  action.text = field.At("close").Word({"end", "reset"});
}

void ReadRestart(const SimField& field, SimAction& action) {
  action.text = field.At("restart").Word({"memory", "blank"});
  if (field.Has("down")) action.number = field.At("down").Ms();
}

struct Deed {
  SimDeed deed;
  std::string_view name;
  std::string_view more;  ///< other fields it accepts, separated by blanks
  std::int64_t least, most;
  void (*read)(const SimField&, SimAction&);  ///< null: the field is a number from least to most
};

constexpr Deed kDeeds[] = {
    {SimDeed::Accept, "accept", "", 0, 0, ReadAccept},
    {SimDeed::Reject, "reject", "text", 1, 999, nullptr},
    {SimDeed::Fill, "fill", "price", 0, 0, ReadFill},
    {SimDeed::Ack, "ack", "", 0, 0, ReadAck},
    {SimDeed::Price, "move", "to walk lots", 0, 0, ReadMove},
    {SimDeed::Burst, "burst", "text", 1, 1000000, nullptr},
    {SimDeed::Silence, "silence", "", 0, kMostMs, nullptr},
    {SimDeed::Stall, "stall", "", 0, kMostMs, nullptr},
    {SimDeed::Delay, "delay", "", 0, kMostMs, nullptr},
    {SimDeed::Cut, "cut", "", 0, 1 << 30, nullptr},
    {SimDeed::Garbage, "garbage", "", 1, 1 << 20, nullptr},
    {SimDeed::Close, "close", "", 0, 0, ReadClose},
    {SimDeed::Restart, "restart", "down", 0, 0, ReadRestart},
};

const Deed& DeedIn(const SimField& field) {
  std::vector<const Deed*> found;
  std::string names;
  for (const Deed& deed : kDeeds) {
    names.append(names.empty() ? "" : ", ").append(deed.name);
    if (field.Is(Json::Kind::Object) && field.Has(deed.name)) found.push_back(&deed);
  }
  if (found.empty()) field.Fail("expected an action, an object with one of: " + names);
  if (found.size() > 1) field.Fail("an action does one thing");
  return *found.front();
}

void ReadMore(const SimField& field, const Deed& deed, SimAction& action) {
  std::vector<std::string_view> known{deed.name, "after"};
  for (std::string_view more = deed.more; !more.empty();) {
    const std::size_t end = std::min(more.find(' '), more.size());
    known.push_back(more.substr(0, end));
    more.remove_prefix(std::min(end + 1, more.size()));
  }
  field.Only(known);
  if (field.Has("after")) action.after = std::chrono::milliseconds(field.At("after").Ms());
  const bool has = std::find(known.begin(), known.end(), "text") != known.end();
  if (has && field.Has("text")) action.text = field.At("text").Text();
}

}  // namespace

SimAction ReadAction(const SimField& field) {
  const Deed& deed = DeedIn(field);
  SimAction action;
  action.deed = deed.deed;
  ReadMore(field, deed, action);
  if (deed.read != nullptr) {
    deed.read(field, action);
  } else {
    action.number = field.At(deed.name).Whole(deed.least, deed.most);
  }
  return action;
}

bool NeedsRequest(SimDeed deed) {
  return deed == SimDeed::Accept || deed == SimDeed::Reject || deed == SimDeed::Fill || deed == SimDeed::Ack;
}

std::string TextOf(const SimAction& action) {
  const auto found = std::find_if(std::begin(kDeeds), std::end(kDeeds),
                                  [&](const Deed& deed) { return deed.deed == action.deed; });
  std::string words(found->name);
  if (!action.product.empty()) words += ' ' + action.product;
  if (action.deed == SimDeed::Fill) words += action.lots == 0 ? " rest" : ' ' + std::to_string(action.lots);
  if (action.price != 0) words += " at " + PriceText(action.price);
  if (found->read == nullptr || action.number != 0) words += ' ' + std::to_string(action.number);
  return words + (action.text.empty() ? "" : ' ' + action.text);
}

}  // namespace VekSim
