#include "sim/SimPlayer.h"

#include <algorithm>
#include <utility>

#include "sim/SimCore.h"
#include "sim/SimSession.h"

namespace VekSim {

namespace {

bool IsKind(const std::string& on, const SimRequest& request) {
  const bool trade = SimMarket::IsTrade(request.verb);
  return on == "request" || on == request.verb || on == (trade ? "order" : "query");
}

bool HasAll(const SimRequest& request, const std::map<std::string, std::string>& where) {
  return std::all_of(where.begin(), where.end(),
                     [&](const auto& wanted) { return ArgumentOf(request, wanted.first) == wanted.second; });
}

bool IsOfLink(SimDeed deed) {
  return deed == SimDeed::Silence || deed == SimDeed::Stall || deed == SimDeed::Delay ||
         deed == SimDeed::Cut || deed == SimDeed::Garbage || deed == SimDeed::Close;
}

/// The faults of a link after an action; `over` undoes it.
LinkFaults Changed(LinkFaults faults, const SimAction& action, bool over) {
  if (action.deed == SimDeed::Silence) faults.silent = !over;
  if (action.deed == SimDeed::Stall) faults.stall = !over;
  if (action.deed == SimDeed::Delay) faults.delayMs = static_cast<int>(action.number);
  if (action.deed == SimDeed::Cut) faults.cutAfter = action.number;
  return faults;
}

}  // namespace

SimPlayer::SimPlayer(SimCore& core) : core_(core), random_(core.config.day.seed), timer_(core.io) {
  for (const SimRule& rule : core.config.day.rules) rules_.push_back({rule});
}

void SimPlayer::Start() {
  for (std::size_t i = 0; i < rules_.size(); ++i) {
    if (rules_[i].rule.on.empty()) Repeat(i, core_.began + rules_[i].rule.at, 0);
  }
  Arm();
}

void SimPlayer::Stop() {
  stopped_ = true;
  timetable_.Clear();
  timer_.cancel();
}

void SimPlayer::Repeat(std::size_t index, std::chrono::microseconds due, int time) {
  At(due, [this, index, due, time] {
    const SimRule& rule = rules_[index].rule;
    for (const SimAction& action : rule.actions) {
      At(due + action.after, [this, &action] { Do(action, 0, {}); });
    }
    if (rule.times && time + 1 >= *rule.times) return;
    Repeat(index, due + std::max(rule.every, std::chrono::milliseconds(1)), time + 1);
  });
}

template <class Fits>
SimPlay SimPlayer::Meet(const Fits& fits, bool handshake) {
  SimPlay play;
  play.met = core_.Now();
  for (auto& [rule, met] : rules_) {
    if (rule.on.empty() || !fits(rule)) continue;
    ++met;
    if (met < rule.nth || (rule.times && met - rule.nth >= *rule.times)) continue;
    for (const SimAction& action : rule.actions) Add(action, handshake, play);
  }
  return play;
}

SimPlay SimPlayer::Meet(const SimRequest& request) {
  return Meet([&](const SimRule& rule) { return IsKind(rule.on, request) && HasAll(request, rule.where); },
              false);
}

SimPlay SimPlayer::MeetHandshake(std::string_view step) {
  return Meet([&](const SimRule& rule) { return rule.on == step; }, true);
}

void SimPlayer::Add(const SimAction& action, bool handshake, SimPlay& play) {
  const bool now = action.after.count() == 0;
  if (action.deed == SimDeed::Accept || action.deed == SimDeed::Fill) play.hold = true;
  if (action.deed == SimDeed::Ack) {
    play.copies = action.text == "doubled" ? 2 : action.text == "missing" ? 0 : 1;
    play.late = action.after;
  } else if (action.deed == SimDeed::Reject && (now || handshake)) {
    play.rejection = SimRejection(static_cast<int>(action.number), action.text);
  } else if (now && (IsOfLink(action.deed) || action.deed == SimDeed::Restart)) {
    play.first.push_back(action);
  } else if (action.deed != SimDeed::Accept) {
    play.hold = play.hold || action.deed == SimDeed::Reject;
    play.later.push_back(action);
  }
}

void SimPlayer::PlayFirst(const SimPlay& play, int session) {
  for (const SimAction& action : play.first) Do(action, session, {});
}

void SimPlayer::PlayLater(const SimPlay& play, int session, const std::string& order) {
  if (play.later.empty()) return;
  for (const SimAction& action : play.later) {
    At(play.met + action.after, [this, action, session, order] { Do(action, session, order); });
  }
  Tick();
}

void SimPlayer::At(std::chrono::microseconds due, std::function<void()> what) {
  if (stopped_) return;
  timetable_.Add(due, std::move(what));
  Arm();
}

void SimPlayer::Tick() {
  if (core_.due) return;  // already doing so
  const auto now = core_.Now();
  while (const auto due = timetable_.Next()) {
    const auto what = timetable_.Take(now);
    if (!what) break;
    core_.due = due;  // actions happen at their due times, however late the thread is
    what();
    core_.due.reset();
  }
  Arm();
}

void SimPlayer::Arm() {
  const auto next = timetable_.Next();
  if (!next || core_.config.clock || core_.due || stopped_) return;
  timer_.expires_after(std::max(*next - core_.Now(), std::chrono::microseconds(0)));
  timer_.async_wait([this](const asio::error_code& error) {
    if (!error) Tick();
  });
}

bool SimPlayer::Do(const SimAction& action, int session, const std::string& order) {
  SimNote note{{}, session, "played", {}, {}, {}, 0, order, TextOf(action)};
  std::vector<SimTrade> trades;
  if (action.deed == SimDeed::Fill) trades = {core_.market.Fill(order, action.lots, action.price)};
  if (action.deed == SimDeed::Reject) {
    trades = {core_.market.Reject(order, {static_cast<int>(action.number), action.text})};
  }
  const bool good = trades.empty() || trades.front().Accepted();
  if (!good) note.outcome = "rejected", note.code = trades.front().rejection.code;
  if (action.deed != SimDeed::Price) core_.Note(std::move(note));  // Move notes the new price
  for (const SimTrade& trade : trades) core_.Report(trade);
  if (action.deed == SimDeed::Price) Move(action);
  if (action.deed == SimDeed::Burst) Burst(action, session);
  if (action.deed == SimDeed::Restart) {
    core_.restart(action.text == "memory", std::chrono::milliseconds(action.number));
  }
  if (IsOfLink(action.deed)) DoToLinks(action, session);
  return good;
}

void SimPlayer::DoToLinks(const SimAction& action, int session) {
  for (const auto& [id, one] : std::map(core_.sessions)) {
    if (session != 0 && session != id) continue;
    SimLink& link = one->Link();
    if (action.deed == SimDeed::Garbage) {
      one->SendRaw(Noise(static_cast<std::size_t>(action.number), static_cast<std::uint32_t>(random_())));
    } else if (action.deed == SimDeed::Close) {
      action.text == "reset" ? link.Close(true) : link.Finish();
    } else {
      link.Set(Changed(link.Faults(), action, false));
      const bool ends = action.deed == SimDeed::Silence || action.deed == SimDeed::Stall;
      if (!ends || action.number == 0) continue;
      At(core_.Now() + std::chrono::milliseconds(action.number), [this, one = one, action] {
        if (!one->Link().Open()) return;
        one->Link().Set(Changed(one->Link().Faults(), action, true));
        core_.Note({{}, one->Id(), "played", {}, {}, {}, 0, {}, TextOf(action) + " is over"});
      });
    }
  }
}

void SimPlayer::Move(const SimAction& action) {
  int price = action.price;
  if (action.walk != 0) {
    const int steps =
        static_cast<int>(random_() % (2 * static_cast<unsigned>(action.walk) + 1)) - action.walk;
    price = core_.market.QuoteOf(action.product).last + steps * SimMarket::Find(action.product)->tick;
  }
  const auto trades = core_.market.Move(action.product, price, action.lots);
  SimNote note;
  note.what = "price";
  note.detail = action.product + " " + PriceText(core_.market.QuoteOf(action.product).last);
  core_.Note(std::move(note));
  for (const SimTrade& trade : trades) core_.Report(trade);
}

void SimPlayer::Burst(const SimAction& action, int session) {
  const std::string text = ToBig5(action.text.empty() ? "burst" : action.text);
  for (const auto& [id, one] : core_.sessions) {
    if ((session != 0 && session != id) || !one->Login() || one->Link().Faults().silent) continue;
    for (std::int64_t i = 1; i <= action.number; ++i) {
      one->SendText(Code::kReport,
                    text + "\x01No=" + std::to_string(i) + "\x01Time=" + TimeText(core_.TimeOfDay()));
    }
  }
}

}  // namespace VekSim
