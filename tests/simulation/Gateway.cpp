#include "simulation/Gateway.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "simulation/SharedObjects.h"

namespace vektest {

Gateway::Gateway(World& world, int link, const GatewayScript& script, Line& proxy, Line& server)
    : world_(world),
      link_(link),
      script_(script),
      proxy_(proxy),
      server_(server),
      draw_(world.story.seed, 7000 + static_cast<std::uint64_t>(link)),
      base_("rings" + std::to_string(link)) {
  server_.onNews = [this] { Wake(); };
  proxy_.onNews = [this] {
    if (proxy_.IsCut()) Stop(2 * kSecond);
  };
}

Gateway::~Gateway() {
  server_.onNews = proxy_.onNews = nullptr;
}

// No effect once the run has released the line.
void Gateway::Later(Ns least, Ns most, std::function<void()> what) {
  world_.scheduler_.At(world_.Now() + draw_.Time(least, most),
                       [self = proxy_.shared_from_this(), what = std::move(what)] {
                         if (self->far) what();
                       });
}

// ---- the proxy link ----

void Gateway::OnBytes(std::string_view bytes) {
  lines_ += bytes;
  for (std::size_t end; (end = lines_.find('\n')) != std::string::npos; lines_.erase(0, end + 1))
    OnLine(lines_.substr(0, end));
}

void Gateway::OnLine(const std::string& line) {
  world_.Log("gateway " + std::to_string(link_) + " reads " + line);
  if (line == "Hb:") return OnHeartbeat();
  if (line != "Req:ShMemName") Fail("torn", "a line for no gateway: " + line);
  if (made_ != kNever) Fail("doubled", "the name of the rings was requested again");
  OnNameRequest();
}

void Gateway::OnHeartbeat() {
  if (made_ == kNever) Fail("early", "a heartbeat before there are rings");
  lastHeartbeat_ = world_.Now();
  if (script_.echo) return proxy_.Write("Hb:\n");
  server_.Doom();
  world_.links[link_].overBy = world_.Now() + 15 * kSecond;
}

void Gateway::OnNameRequest() {
  if (!MakeRings()) Fail("system", "no rings could be made: " + toClient_.Error());
  if (draw_.Chance(200)) proxy_.Write("Hb:\nAck:Other\n\n");
  if (script_.name == GatewayScript::Never) return;
  if (script_.name == GatewayScript::Refused) return Die(Cut::Finish);
  if (script_.name == GatewayScript::Wrong) proxy_.Write("Ack:ShMemName:" + base_ + "x\n");
  const bool waits = script_.name == GatewayScript::Late || script_.name == GatewayScript::Wrong;
  if (!waits) return TellName();
  Later(script_.late, script_.late + kMs, [this] { TellName(); });
}

void Gateway::TellName() {
  lastHeartbeat_ = world_.Now();
  proxy_.Write("Ack:ShMemName:" + base_ + "\n");
  if (draw_.Chance(100)) proxy_.Write("Ack:ShMemName:" + base_ + "\n");
  if (!script_.echo || !draw_.Chance(100)) return;
  Later(kMs, 60 * kSecond, [this] {
    lastHeartbeat_ = world_.Now();
    proxy_.Write("Hb:\n");
  });
}

bool Gateway::MakeRings() {
  const auto make = [&](Dova::TShMemChannel& channel, Dova::TShMemRing& ring, const char* end) {
    if (!channel.Open(base_ + end, script_.ring, true)) return false;
    ring = channel.Ring();
    return true;
  };
  if (!make(fromClient_, in_, ".C2S") || !make(toClient_, out_, ".S2C")) return false;
  WatchSharedEvent(base_ + ".C2S.REv", [this] { Wake(); });
  WatchSharedEvent(base_ + ".S2C.WEv", [this] { Wake(); });
  made_ = world_.Now();
  if (script_.nags) Nag();
  const auto at = [&](Ns when, auto what) {
    if (when != kNever) Later(when, when, what);
  };
  at(script_.dies, [this] { Die(draw_.Chance(500) ? Cut::Finish : Cut::Reset); });
  at(script_.corrupts, [this] { Corrupt(); });
  return true;
}

// The client's last bytes are passed on.
void Gateway::OnFinished() {
  if (!stopped_ && in_ && proxy_.FrozenSince() == kNever) {
    while (ToServer()) continue;
  }
  Stop(kNever);
}

// ---- bytes ----

void Gateway::Wake() {
  if (stopped_ || std::exchange(waking_, true)) return;
  Later(kMs / 100, script_.lag, [this] { Pump(); });
}

void Gateway::Pump() {
  const auto again = [this, self = proxy_.shared_from_this()] {
    if (self->far) Pump();
  };
  if (proxy_.Held(again)) return;
  waking_ = false;
  if (stopped_ || made_ == kNever) return;
  const bool more = ToServer();
  if (ToClient() || more) Wake();
}

// Sets events for nothing, now and then.
void Gateway::Nag() {
  if (stopped_) return;
  toClient_.ReadEvent().Set();
  fromClient_.WriteEvent().Set();
  Later(kMs / 10, 20 * kSecond, [this] { Nag(); });
}

bool Gateway::Paused() const {
  const Ns since = world_.Now() - made_;
  return script_.pauseFrom != kNever && since >= script_.pauseFrom &&
         since - script_.pauseFrom < script_.pauseFor;
}

// Not always at once: what is in the ring may be read before the event is set.
void Gateway::Tell(Dova::Os::TNamedEvent& event) {
  if (draw_.Chance(700)) return event.Set();
  Later(kMs / 100, script_.lag, [&event] { event.Set(); });
}

// True if there may be more to move.
bool Gateway::ToServer() {
  if (Paused()) {
    Later(script_.pauseFor, script_.pauseFor, [this] { Wake(); });
    return false;
  }
  if (rest_.empty()) {
    rest_.resize(script_.gulp);
    const std::ptrdiff_t count = in_.Read(rest_.data(), rest_.size());
    if (count < 0) Fail("torn", "the client has broken the ring of link " + std::to_string(link_));
    rest_.resize(static_cast<std::size_t>(count));
    if (count == 0) return false;
    if (script_.tellsRoom) Tell(fromClient_.WriteEvent());
  }
  const char* error = nullptr;
  const std::ptrdiff_t count = server_.TrySend(rest_.data(), rest_.size(), error);
  if (count < 0) Die(Cut::Finish);
  if (count == 0) Later(kMs, 20 * kMs, [this] { Wake(); });
  if (count <= 0) return false;
  rest_.erase(0, static_cast<std::size_t>(count));
  return true;
}

bool Gateway::ToClient() {
  if (stopped_ || !server_.HasNews()) return false;
  std::string bytes(std::min<std::size_t>(script_.gulp, out_.Space()), '\0');
  if (bytes.empty()) return false;  // until the client has read
  const char* error = nullptr;
  const std::ptrdiff_t count = server_.Recv(bytes.data(), bytes.size(), error);
  if (count <= 0) {
    Die(Cut::Finish);
    return false;
  }
  if (out_.Write(bytes.data(), static_cast<std::size_t>(count)) != count)
    Fail("torn", "the ring to the client has less room than it said");
  Tell(toClient_.ReadEvent());
  return true;
}

std::size_t Gateway::Behind() const {
  return rest_.size() + (in_ && !stopped_ ? in_.Capacity() - 1 - in_.Space() : 0);
}

// ---- misbehaviour ----

// An index out of range ends the link; what else the header holds has no effect once the rings are joined.
void Gateway::Corrupt() {
  if (stopped_) return;
  const bool down = draw_.Chance(500), tells = draw_.Chance(700);
  const unsigned word = draw_.Below(4);
  const std::uint32_t value = std::max(draw_.Chance(300) ? 0 : static_cast<std::uint32_t>(draw_.Next()),
                                       word == 1 || word == 2 ? script_.ring + 1 : 0);
  Dova::Os::TNamedMapping memory;
  if (!memory.Open(base_ + (down ? ".S2C" : ".C2S"), 0, Dova::Os::EOpen::Join) || !memory.MapView(0))
    Fail("system", "the rings are gone");
  std::memcpy(memory.View() + word * sizeof value, &value, sizeof value);
  world_.Log("gateway " + std::to_string(link_) + " spoils word " + std::to_string(word));
  if (word == 0 || word == 3) return;
  // Who reads finds it at once if told, who writes with the next heartbeat.
  Stop(down && !tells ? kNever : 40 * kSecond);
  if (down && tells) toClient_.ReadEvent().Set();
}

// Leaves bytes in the ring that it does not announce.
void Gateway::Die(Cut how) {
  if (stopped_) return;
  world_.Log("gateway " + std::to_string(link_) + " ends");
  Stop(2 * kSecond + script_.proxy.latency);
  proxy_.End(how);
}

void Gateway::Stop(Ns overIn) {
  if (std::exchange(stopped_, true)) return;
  server_.Doom();
  server_.Leave();
  if (overIn != kNever && script_.proxy.frozenFrom == kNever)
    world_.links[link_].overBy = world_.Now() + overIn;
}

bool Gateway::MayBlame(const std::string& reason) const {
  const bool frozen = script_.proxy.frozenFrom != kNever;
  return reason == "Hb timeout" ? frozen || !script_.echo || proxy_.IsCut() : frozen;
}

bool Gateway::MissesHeartbeat(Ns lastEvent) const {
  if (stopped_ || lastHeartbeat_ == kNever || script_.proxy.frozenFrom != kNever) return false;
  return world_.Now() - std::max(lastHeartbeat_, lastEvent) > 40 * kSecond + world_.Slack();
}

}  // namespace vektest
