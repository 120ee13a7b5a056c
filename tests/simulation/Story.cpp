#include "simulation/Story.h"

#include <algorithm>
#include <cstdio>

namespace vektest {
namespace {

std::string Seconds(Ns time) {
  char text[32];
  std::snprintf(text, sizeof text, "%.4g s", static_cast<double>(time) / 1e9);
  return text;
}

// Coinciding times: a few moments, the library's timeouts, and small differences around them.
Ns Moment(Draw& draw, const std::vector<Ns>& anchors, Ns length) {
  if (draw.Chance(400)) return draw.Time(kMs, length);
  Ns at = anchors[draw.Below(static_cast<unsigned>(anchors.size()))];
  const Ns waits[] = {0, 0, 30 * kSecond, 45 * kSecond, 60 * kSecond, 2 * kSecond};
  at += waits[draw.Below(6)];
  const Ns off = draw.Time(kMs / 100, 3 * kSecond);
  return std::max<Ns>(draw.Chance(300) ? at - off : at + off, 0);
}

Act WhichAct(Draw& draw, bool inside, bool orders) {
  if (orders && draw.Chance(700)) return draw.Chance(700) ? Act::Paced : Act::PacedMany;

  static const unsigned outside[] = {20, 6, 3, 12, 10, 6, 4, 24, 8, 2, 3};
  static const unsigned within[] = {12, 8, 5, 10, 8, 4, 3, 12, 4, 1, 16};
  const unsigned* const weights = inside ? within : outside;
  unsigned total = 0;
  for (int i = 0; i < static_cast<int>(Act::kCount); ++i) total += weights[i];
  unsigned left = draw.Below(total);
  int act = 0;
  while (left >= weights[act]) left -= weights[act++];
  return static_cast<Act>(act);
}

Act WhichSessionAct(Draw& draw) {
  static const Act acts[] = {Act::Open,       Act::Open,       Act::Close,   Act::Drain, Act::EndSession,
                             Act::Withdraw,   Act::Withdraw,   Act::Replace, Act::Rate,  Act::Retry,
                             Act::SubmitMany, Act::SubmitMany, Act::Busy};
  return draw.Chance(400) ? Act::Submit : acts[draw.Below(13)];
}

}  // namespace

const char* Name(Act act) {
  static const char* const names[] = {"connect",         "disconnect",    "delete",
                                      "order",           "query",         "long request",
                                      "change password", "paced request", "many paced requests",
                                      "new sender",      "busy",          "open",
                                      "close",           "drain",         "end",
                                      "submit",          "submit many",   "withdraw",
                                      "replace",         "rate",          "retry"};
  return names[static_cast<int>(act)];
}

Story::Story(std::uint64_t which, std::set<int> leftOut, bool calmThreads, bool plainServers)
    : seed(which),
      without(std::move(leftOut)),
      calm(calmThreads),
      plain(plainServers),
      sessions(HasSessions(which)),
      loops(HasLoops(which)),
      rings(HasRings(which)),
      traced(Draw(which, 6).Chance(200)) {
  Draw draw(seed, 2);
  clients = draw.From(1, 3);
  threads = draw.From(1, 3);
  pace = draw.From(1, 6);
  paceMs = draw.Chance(300) ? 1000 : static_cast<unsigned>(draw.Time(20, 3000));
  chances.changeOver = draw.Chance(300) ? 0 : draw.From(20, 500);
  chances.stall = draw.Chance(400) ? 0 : draw.From(1, 60);
  chances.longestStall = draw.Time(kMs, 5 * kSecond);
  chances.noThread = draw.Chance(70) ? draw.From(20, 400) : 0;
  Draw shortages(seed, 4);
  if (shortages.Chance(250)) chances.noMemory = static_cast<unsigned>(shortages.Time(10, 4000));
  if (loops && shortages.Chance(250)) chances.noPost = static_cast<unsigned>(shortages.Time(5, 500));
  chances.tick = Draw(seed, 5).Chance(700) ? 16 * kMs : 0;
  if (rings && shortages.Chance(200)) noObject = shortages.From(20, 300);
  if (calm) chances = {};
  const bool windows = draw.Chance(200);
  const bool orders = draw.Chance(150);  // hardly anything else
  crossing = draw.Chance(200);
  const Ns length = draw.Time(5 * kSecond, 100 * kSecond);
  std::vector<Ns> anchors;
  for (unsigned i = draw.From(1, 4); i > 0; --i) anchors.push_back(draw.Time(kMs, length));
  const int count = static_cast<int>(draw.From(4, 40));
  for (int id = 0; id < count; ++id) {
    Step step;
    step.id = id;
    const bool within = draw.Chance(orders ? 150 : crossing ? 700 : 350);
    step.act = id < static_cast<int>(clients) ? Act::Connect : WhichAct(draw, within, orders);
    step.client = id < static_cast<int>(clients) ? static_cast<unsigned>(id) : draw.Below(clients);
    step.thread = draw.Below(threads);
    step.at = id < static_cast<int>(clients) ? draw.Time(kMs, kSecond) : Moment(draw, anchors, length);
    step.host = draw.Chance(600) ? step.client : draw.Below(clients);
    const int event = static_cast<int>(draw.Time(1, crossing ? 15 : 40)) - 1;
    if (within && id >= static_cast<int>(clients)) step.inside = event;
    step.time = draw.Time(kMs, 40 * kSecond);
    step.answersWindow = windows && step.inside < 0 && draw.Chance(300) && id >= static_cast<int>(clients);
    if (crossing && step.inside >= 0 && draw.Chance(600)) {
      const Act acts[] = {Act::Disconnect, Act::Connect, Act::Delete, Act::Busy};
      step.act = acts[draw.Below(4)];
      step.client = draw.Below(clients);
      step.time = draw.Time(kMs, 500 * kMs);
    }
    if (sessions) {
      step.act = id < static_cast<int>(clients) ? Act::Open : WhichSessionAct(draw);
    }
    if (sessions || loops) step.answersWindow = false;
    if (!without.count(id)) steps.push_back(step);
  }
  std::stable_sort(steps.begin(), steps.end(), [](const Step& a, const Step& b) { return a.at < b.at; });
}

ServerScript Story::Server(int step) const {
  Draw draw(seed, 1000 + static_cast<std::uint64_t>(step));
  ServerScript server;
  const bool good = plain || draw.Chance(250);
  server.big = draw.Chance(500);
  server.mode = draw.Chance(600) ? 1 : 0;
  for (unsigned i = draw.Chance(300) ? 0 : draw.From(1, 20); i > 0; --i)
    server.key += static_cast<char>(draw.From(1, 255));
  server.line.latency = draw.Time(kMs / 10, draw.Chance(700) ? 300 * kMs : 4 * kSecond);
  server.line.fragment = draw.Chance(400) ? draw.From(1, 3000) : 0;
  server.reports = static_cast<unsigned>(draw.Time(1, 60)) - 1;
  server.reportGap = draw.Time(kMs, 20 * kSecond);
  server.replyFirst = draw.Chance(500);
  server.addresses = {{Net::Attempt::Accepts, draw.Time(kMs / 10, 200 * kMs)}};
  if (good) return server;

  const auto answer = [&] {
    const unsigned which = draw.Below(100);
    return which < 80   ? ServerScript::Good
           : which < 85 ? ServerScript::Refused
           : which < 90 ? ServerScript::Never
           : which < 95 ? ServerScript::Twice
                        : ServerScript::Late;
  };
  server.hello = answer();
  server.signOn = answer();
  server.late = draw.Chance(500) ? draw.Time(kMs, 60 * kSecond) : 30 * kSecond + draw.Time(kMs, 20 * kSecond);
  server.echo = draw.Chance(700);
  server.acks = draw.Chance(600) ? ServerScript::True : static_cast<ServerScript::Acks>(draw.From(1, 4));
  server.hangUp = draw.Chance(500);
  if (draw.Chance(80)) server.badPacketAfter = static_cast<int>(draw.Time(1, 30)) - 1;
  LineScript& line = server.line;
  if (draw.Chance(250)) line.window = static_cast<std::size_t>(draw.Time(20, 20000));
  if (draw.Chance(250)) line.readDelay = draw.Time(kMs, 5 * kSecond);
  if (draw.Chance(300)) {
    line.cut = draw.Chance(500) ? Cut::Finish : Cut::Reset;
    (draw.Chance(600) ? line.cutDown : line.cutUp) = static_cast<std::size_t>(draw.Time(1, 60000));
  }
  if (draw.Chance(200)) {
    line.frozenFrom = draw.Time(kMs, 90 * kSecond);
    line.frozenFor = draw.Time(kMs, 200 * kSecond);
  }
  if (draw.Chance(150)) line.refuseSend = static_cast<int>(draw.Time(1, 30)) - 1;
  server.named = draw.Chance(200);
  server.lookUp = draw.Chance(100) ? 100 * kSecond : draw.Time(kMs / 10, kSecond);
  if (draw.Chance(200)) {
    server.addresses.clear();
    for (unsigned i = server.named ? draw.Below(4) : 1; i > 0; --i) {
      const auto outcome = static_cast<Net::Attempt::Outcome>(draw.Below(3));
      server.addresses.push_back({outcome, draw.Chance(200) ? 0 : draw.Time(kMs / 10, 40 * kSecond)});
    }
  }
  // Then what is refused had to wait.
  if (line.refuseSend >= 0 && draw.Chance(500)) line.window = static_cast<std::size_t>(draw.Time(20, 2000));
  return server;
}

std::optional<GatewayScript> Story::Gateway(int step) const {
  Draw draw(seed, 6000 + static_cast<std::uint64_t>(step));
  if (!rings || draw.Chance(150)) return {};
  GatewayScript gateway;
  LineScript& line = gateway.proxy;
  gateway.ring = static_cast<std::uint32_t>(draw.Time(40, 65536));
  gateway.gulp = static_cast<unsigned>(draw.Time(30, 20000));
  gateway.lag = draw.Time(kMs / 50, 50 * kMs);
  gateway.tellsRoom = draw.Chance(700);
  gateway.nags = draw.Chance(300);
  line.latency = draw.Time(kMs / 10, 2 * kSecond);
  line.fragment = draw.Chance(300) ? draw.From(1, 20) : 0;
  if (plain || draw.Chance(400)) return gateway;

  gateway.sound = false;
  gateway.name = draw.Chance(700) ? GatewayScript::Good : static_cast<GatewayScript::Name>(draw.From(1, 4));
  gateway.late = draw.Time(kMs, 15 * kSecond);
  gateway.echo = draw.Chance(750);
  if (draw.Chance(300)) {
    gateway.pauseFrom = draw.Time(kMs, 60 * kSecond);
    gateway.pauseFor = draw.Time(kMs, 30 * kSecond);
  }
  if (draw.Chance(150)) gateway.dies = draw.Time(kMs, 90 * kSecond);
  if (draw.Chance(150)) gateway.corrupts = draw.Time(kMs, 90 * kSecond);
  if (draw.Chance(150)) {
    line.frozenFrom = draw.Time(kMs, 90 * kSecond);
    line.frozenFor = draw.Time(kMs, 100 * kSecond);
  }
  if (draw.Chance(150)) {
    line.cut = draw.Chance(500) ? Cut::Finish : Cut::Reset;
    (draw.Chance(500) ? line.cutDown : line.cutUp) = draw.From(1, 40);
  }
  return gateway;
}

std::string Story::Tell(const GatewayScript& g) {
  static const char* const names[] = {"", "refused", "never told", "told late", "told wrong"};
  std::string text = "rings of " + std::to_string(g.ring);
  if (g.name != GatewayScript::Good) text += std::string(", name ") + names[g.name];
  if (!g.echo) text += ", no heartbeats";
  if (!g.tellsRoom) text += ", tells no room";
  if (g.nags) text += ", sets events for nothing";
  const auto add = [&](const char* what, Ns at) {
    if (at != kNever) text += what + Seconds(at);
  };
  add(", does not read at ", g.pauseFrom);
  add(", dies at ", g.dies);
  add(", spoils a ring at ", g.corrupts);
  add(", proxy link frozen at ", g.proxy.frozenFrom);
  if (g.proxy.cutDown != SIZE_MAX) text += ", proxy link cut after " + std::to_string(g.proxy.cutDown);
  if (g.proxy.cutUp != SIZE_MAX) text += ", proxy link cut behind " + std::to_string(g.proxy.cutUp);
  return text + "; ";
}

std::string Story::Tell(const ServerScript& s) {
  static const char* const answers[] = {"", "refused", "never answered", "answered twice", "answered late"};
  static const char* const acks[] = {"", "slow", "missing", "doubled", "surplus"};
  std::string text;
  const auto add = [&](const std::string& what) { text += (text.empty() ? "" : ", ") + what; };
  if (s.hello != ServerScript::Good) add(std::string("connect request ") + answers[s.hello]);
  if (s.signOn != ServerScript::Good) add(std::string("sign-on ") + answers[s.signOn]);
  if (s.hello == ServerScript::Late || s.signOn == ServerScript::Late) add("after " + Seconds(s.late));
  if (s.acks != ServerScript::True) add(std::string("acknowledgements ") + acks[s.acks]);
  if (s.badPacketAfter >= 0) add("a bad packet after " + std::to_string(s.badPacketAfter) + " reports");
  if (s.line.cutDown != SIZE_MAX) add("cut after " + std::to_string(s.line.cutDown) + " bytes to the client");
  if (s.line.cutUp != SIZE_MAX) add("cut after " + std::to_string(s.line.cutUp) + " bytes from the client");
  if (s.line.frozenFrom != kNever)
    add("frozen at " + Seconds(s.line.frozenFrom) + " for " + Seconds(s.line.frozenFor));
  if (s.line.refuseSend >= 0) add("send " + std::to_string(s.line.refuseSend) + " refused by the system");
  if (s.line.readDelay) add("reads after " + Seconds(s.line.readDelay));
  if (s.line.window != LineScript{}.window) add("window of " + std::to_string(s.line.window));
  if (s.named) add("looked up in " + Seconds(s.lookUp));
  if (s.addresses.size() != 1 || s.addresses[0].outcome != Net::Attempt::Accepts)
    add(std::to_string(s.addresses.size()) + " addresses");
  return text.empty() ? "behaves" : text;
}

std::string Story::Tell() const {
  std::string text = "seed " + std::to_string(seed) + ": " + std::to_string(clients) +
                     (sessions ? " sessions, "
                      : loops  ? " clients on message loops, "
                      : rings  ? " clients over rings, "
                               : " clients, ") +
                     std::to_string(threads) + " threads, " + std::to_string(pace) + " requests in " +
                     std::to_string(paceMs) + " ms";
  if (chances.stall) text += ", threads that stall for up to " + Seconds(chances.longestStall);
  if (chances.noThread) text += ", a lack of threads";
  if (chances.noMemory) text += ", a lack of memory";
  if (chances.noPost) text += ", a lack of room for messages";
  if (noObject) text += ", a lack of shared objects";
  if (traced) text += ", traced";
  text += "\n";
  for (const Step& step : steps) {
    text += "  " + std::to_string(step.id) + ": ";
    if (step.inside >= 0) {
      text += "inside event " + std::to_string(step.inside) + " of client " + std::to_string(step.host);
    } else {
      text += "at " + Seconds(step.at) + " on thread " + std::to_string(step.thread);
      if (step.answersWindow) text += ", while it waits";
    }
    text += ": client " + std::to_string(step.client) + " " + Name(step.act);
    if (step.act == Act::Busy) text += " for " + Seconds(step.time);
    const auto gateway = Gateway(step.id);
    if (step.act == Act::Connect)
      text += " (" + (gateway ? Tell(*gateway) : "") + Tell(Server(step.id)) + ")";
    text += "\n";
  }
  return text;
}

}  // namespace vektest
