#include "simulation/World.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "simulation/Gateway.h"
#include "simulation/Server.h"
#include "simulation/SharedObjects.h"

namespace vektest {
namespace {

constexpr Ns kHung = 6000 * kSecond;
Server* ServerOf(const LinkBook& book) {
  return book.line ? static_cast<Server*>(book.line->far.get()) : nullptr;
}

}  // namespace

World::World(const Story& which, Scheduler& scheduler)
    : story(which), scheduler_(scheduler), slots(which.clients) {
  BeginSharedObjects(story.seed, story.noObject, story.seed / 16 % 2 != 0);
  scheduler.answersWhileWaiting = [this] {
    return std::any_of(story.steps.begin(), story.steps.end(), [&](const Step& step) {
      return step.answersWindow && !answered_.count(step.id) && Now() >= 1000 * kSecond + step.at &&
             kThreads[step.thread] == std::string_view(Me()->name);
    });
  };
  scheduler.answer = [this] {
    const OutOfLibrary application;
    for (const Step& step : story.steps) {
      if (!step.answersWindow || Now() < 1000 * kSecond + step.at) continue;
      if (kThreads[step.thread] != std::string_view(Me()->name)) continue;
      if (answered_.insert(step.id).second) return Do(step, nullptr);
    }
  };
}

World::~World() {
  for (auto& [id, book] : links) {
    if (book.proxy) {
      book.proxy->far.reset();
      book.proxy->Thaw();
    }
    if (!book.line) continue;
    book.line->Thaw();
    book.line->far.reset();
  }
}

void World::Log(const std::string& text) {
  if (!tell) return;
  std::printf("%12.6f %-10s %s\n", static_cast<double>(Now() - 1000 * kSecond) / 1e9,
              scheduler_.OnTask() ? Me()->name : "net", text.c_str());
  std::fflush(stdout);
}

void LinkBook::CheckTold(std::size_t upTo) const {
  for (std::size_t i = told; i < expected.size(); ++i) {
    if (expected[i].end <= upTo) Fail("lost", "never told: " + expected[i].line.substr(0, 60));
  }
}

std::string PacedText(int sender, unsigned request) {
  return "P" + std::to_string(sender) + "." + std::to_string(request) + " new\n" +
         std::string(1 + request * 37 % 120, static_cast<char>('a' + request % 26));
}

// ---- the network ----

Net::Attempt World::Try(unsigned port, unsigned address) {
  const auto addresses = story.Server(static_cast<int>(port - kFirstPort)).addresses;
  return address < addresses.size() ? addresses[address] : Attempt{};
}

std::shared_ptr<Line> World::Accept(unsigned port) {
  const int link = static_cast<int>(port - kFirstPort);
  const ServerScript script = story.Server(link);
  LinkBook& book = links[link];
  if (book.line) Fail("doubled", "link " + std::to_string(link) + " was connected twice");
  book.line = std::make_shared<Line>(Draw(story.seed, 3000 + static_cast<std::uint64_t>(link)), script.line);
  book.line->far = std::make_unique<Server>(*this, link, script, *book.line);
  book.opened = Now();
  const auto gateway = story.Gateway(link);
  if (!gateway) return book.line;
  book.proxy =
      std::make_shared<Line>(Draw(story.seed, 4000 + static_cast<std::uint64_t>(link)), gateway->proxy);
  book.proxy->far = std::make_unique<Gateway>(*this, link, *gateway, *book.proxy, *book.line);
  return book.proxy;
}

Gateway* World::GatewayOf(const LinkBook& book) {
  return book.proxy ? static_cast<Gateway*>(book.proxy->far.get()) : nullptr;
}

// Bytes that have left the client and were not read by the server.
std::size_t World::BackedUp(const LinkBook& book) {
  const Gateway* const gateway = GatewayOf(book);
  return book.line->BackedUp() + (gateway ? gateway->Behind() : 0);
}

unsigned World::LookUp(unsigned port) {
  const ServerScript script = story.Server(static_cast<int>(port - kFirstPort));
  scheduler_.Sleep(script.lookUp);
  return static_cast<unsigned>(script.addresses.size());
}

bool World::CouldBeOpened(int link) const {
  const ServerScript script = story.Server(link);
  const auto gateway = story.Gateway(link);
  if (gateway && (!gateway->sound || story.noObject != 0)) return false;
  if (busyUntil_ > links.at(link).begun) return false;
  if (story.chances.noThread != 0 || story.chances.noMemory != 0 || Slack() != 0 ||
      script.lookUp > 5 * kSecond)
    return false;
  return std::any_of(script.addresses.begin(), script.addresses.end(), [](const Attempt& each) {
    return each.outcome == Attempt::Accepts && each.delay < 10 * kSecond;
  });
}

// ---- the run ----

void World::Run() {
  for (Slot& slot : slots) NewClient(slot);
  running_ = story.threads;
  for (unsigned thread = 0; thread < story.threads; ++thread)
    scheduler_.Start(kThreads[thread], [this, thread] { RunThread(thread); });
  Watch();
  while (running_ != 0) {
    scheduler_.Sleep(kSecond);
    for (Slot& slot : slots) LookAtHeld(slot);
  }
  scheduler_.NoMoreFaults();
  const int settling = (story.rings ? story.seed / 16 : story.seed) % 4 == 0 ? 100 : 20;
  for (int i = 0; i < settling || busyNow_ != 0; ++i) {
    scheduler_.Sleep(kSecond);
    for (auto& [id, book] : links) {
      if (book.line) book.line->Thaw();
      if (book.proxy) scheduler_.At(Now(), [proxy = book.proxy] { proxy->Thaw(); });  // on no thread
    }
    for (Slot& slot : slots) LookAtHeld(slot);
  }
  CheckRequests();
  NoteArrivals();
  CheckLinks();
  over_ = true;
  CleanUp();
}

// Held requests are sent in time while the link is sound and acknowledges; otherwise they are given up.
void World::LookAtHeld(Slot& slot) {
  if (!slot.sender || !slot.client) return;
  const auto found = links.find(slot.life->upLink);
  const bool up =
      found != links.end() && !found->second.over && found->second.line && slot.connecting.empty();
  const Server* const server = up ? ServerOf(found->second) : nullptr;
  const bool sound = server && slot.sender->life == slot.life->number && server->AcksAll() &&
                     !found->second.line->IsCut() && BackedUp(found->second) == 0 &&
                     found->second.line->FrozenSince() == kNever && busyNow_ == 0 &&
                     slot.life->inEvent.empty();
  const Using use(slot.sender->users, Me());
  slot.sender->Look(sound, slot.life->calls.size());
}

void World::RunThread(unsigned thread) {
  for (const Step& step : story.steps) {
    if (step.thread != thread || step.inside >= 0 || step.answersWindow) continue;
    const Ns at = 1000 * kSecond + step.at;
    if (at > Now()) scheduler_.Sleep(at - Now());
    scheduler_.Point();
    Do(step, nullptr);
  }
  --running_;
}

void World::NewClient(Slot& slot) {
  const auto index = static_cast<unsigned>(&slot - slots.data());
  lives_.push_back(std::make_unique<Life>(*this, index, static_cast<int>(lives_.size())));
  slot.life = lives_.back().get();
  slot.life->lastEvent = Now();
  while (!LibraryMay([&] { slot.client = std::make_unique<VekApi::VekClient>(*slot.life); })) continue;
  if (story.traced) LibraryMay([&] { VekApi::VekLink::SetTrace(*slot.client, slot.life, vtl_Packets); });
  if (!slot.sender || (slot.sender->users.empty() && slot.life->number % 2 == 0))
    NewSender(slot, *slot.client);
}

void World::NewSender(Slot& slot, VekApi::VekClient& client) {
  const Using use(slot.users, Me());
  const int number = sendersMade_++;
  Life* const life = slot.life;
  if (slot.sender && slot.sender->life == life->number)
    life->lastSend = std::max(life->lastSend, slot.sender->lastSend);
  Library([&] { slot.sender.reset(); });
  if (slot.life != life || life->destroyed) return;  // deleted by an answered message
  const auto make = [&] { slot.sender = std::make_unique<Sender>(*this, client, number, *slot.life); };
  while (!LibraryMay(make)) continue;
}

void World::RunInside(unsigned host, VekApi::VekClient& client) {
  const int event = slots[host].events++;
  if (over_ || slots[host].life->inEvent.size() > 3) return;
  for (const Step& step : story.steps) {
    if (step.inside != event || step.host != host) continue;
    Life* const life = slots[host].life;
    // Until another client is inside an event too.
    if (story.crossing && step.act != Act::Busy) Busy(step.time % (500 * kMs));
    if (over_ || life->destroyed || slots[host].life != life) return;
    Do(step, step.client == host && !life->destroyed ? &client : nullptr);
    if (life->destroyed || slots[host].life != life) return;
  }
}

void World::Do(const Step& step, VekApi::VekClient* inside) {
  const OutOfLibrary application;
  Slot& slot = slots[step.client];
  if (step.act == Act::Busy) return Busy(step.time);
  if (step.act == Act::Delete) return Delete(step, slot);
  VekApi::VekClient* const client = inside ? inside : slot.client.get();
  if (!client || slot.life->destroyed) return;
  Reach(std::string(Name(step.act)) +
        (inside             ? " inside its event"
         : step.inside >= 0 ? " inside another's event"
                            : "") +
        " in state " + std::to_string(client->State()));
  switch (step.act) {
    case Act::Connect:
    case Act::Disconnect:
      return Structural(step, slot, *client);
    case Act::NewSender:
      if (!slot.sender || !slot.sender->users.empty() || !slot.client) return;
      return NewSender(slot, *client);
    default:
      return Send(step, slot, *client);
  }
}

void World::Busy(Ns time) {
  Log("busy");
  busyBegun_ += time;
  busyUntil_ = std::max(busyUntil_, Now() + time);
  ++busyNow_;
  scheduler_.Sleep(time);
  --busyNow_;
}

// Never on two threads of the application at once; events may intervene.
void World::Structural(const Step& step, Slot& slot, VekApi::VekClient& client) {
  const bool event =
      std::find(slot.life->inEvent.begin(), slot.life->inEvent.end(), Me()) != slot.life->inEvent.end();
  if (!event && !OnlyMe(slot.connecting)) return;
  const Using use(slot.users, Me());
  const Using changes(slot.connecting, Me());
  Life& life = *slot.life;
  const std::size_t call = life.calls.size();
  const bool connects = step.act == Act::Connect;
  life.calls.push_back({connects ? step.id : -1, Tick(), UINT64_MAX, Me()});
  life.lastChange = Tick();
  const Ns begun = Now(), busy = busyBegun_ - busyNow_ * 40 * kSecond, stalled = Slack();
  Log("client " + std::to_string(step.client) + " " + Name(step.act) + " " + std::to_string(step.id));
  if (connects) {
    const ServerScript script = story.Server(step.id);
    links[step.id].begun = Now();
    const std::string id = std::to_string(step.id);
    const std::string host = script.named ? "host:" : "10.0.0.1:";
    const std::string kind = story.Gateway(step.id) ? ":ShMemCli:TCPClient:" : "";
    const std::string setting = kind + host + std::to_string(kFirstPort + static_cast<unsigned>(step.id));
    const std::string app = "App" + id, version = "1.2", first = "u" + id, second = "s" + id, pass = "p" + id;
    Library([&] { client.Connect(setting, app, version, first, second, pass); });
  } else {
    Library([&] { client.Disconnect(); });
  }
  life.calls[call].ended = Tick();
  life.lastChange = Tick();
  life.lastEvent = Now();
  Log("client " + std::to_string(step.client) + " " + Name(step.act) + " " + std::to_string(step.id) +
      " is back");
  if (Now() - begun > busyBegun_ - busy + Slack() - stalled + 5 * kSecond)
    Fail("slow", std::string(Name(step.act)) + " took too long");
}

void World::Delete(const Step& step, Slot& slot) {
  if (!slot.client || !OnlyMe(slot.users) || !slot.connecting.empty()) return;
  Reach(std::string("delete in state ") + std::to_string(slot.client->State()));
  Log("client " + std::to_string(step.client) + " delete");
  Life& life = *slot.life;
  {
    const Using use(slot.users, Me());
    const Using changes(slot.connecting, Me());
    life.lastChange = Tick();
    const Ns begun = Now(), busy = busyBegun_ - busyNow_ * 40 * kSecond, stalled = Slack();
    Library([&] { std::exchange(slot.client, nullptr).reset(); });
    if (!life.destroyed) Fail("silent", "a client went without its last event");
    if (Now() - begun > busyBegun_ - busy + Slack() - stalled + 5 * kSecond)
      Fail("slow", "a deletion took too long");
    life.lastChange = Tick();
  }
  Log("client " + std::to_string(step.client) + " is deleted");
  NewClient(slot);
}

void World::Send(const Step& step, Slot& slot, VekApi::VekClient& client) {
  const Using use(slot.users, Me());
  Life& life = *slot.life;
  if (step.act == Act::Paced || step.act == Act::PacedMany) {
    if (!slot.sender || !client.IsSessionConnected()) return;
    const bool many = step.act == Act::PacedMany, singly = many && step.time / 16 % 2 != 0;
    const Ns pause = step.time / 32 % 3 == 0 ? story.paceMs * kMs * (1 + step.time % 5) / 4 : 0;
    return slot.sender->Send(many ? 1 + static_cast<unsigned>(step.time % 12) : 1, singly, pause);
  }
  const std::uint64_t since = Tick();
  const bool sound = IsSound(life, since);
  const Ns begun = Now();
  const Request& request = Make(step, life.number, [&](const std::string& id, std::string& buffer) {
    const auto size = static_cast<unsigned>(buffer.size());
    if (step.act == Act::ChangePassword) return client.ChgPass(id, "the old one", "the new one");
    if (step.act == Act::Query) return client.SendVekQueryRequest(buffer.data(), size) == 0;
    return client.SendVekRequest(step.act == Act::Order ? 129 : 150, buffer.data(), size);
  });
  if (!life.destroyed) life.lastSend = Now();
  if (!request.accepted && sound && step.act != Act::Query && IsSound(life, since))
    Fail("refused", request.text.substr(0, 10) + " was refused though the link is up");
  if (request.accepted && step.act == Act::Query && life.ready && begun > *life.ready) CheckRate(life, begun);
}

// Makes the request of a step by `call`, and compares what it returns with the wire.
const Request& World::Make(const Step& step, int life, const RequestCall& call) {
  const std::size_t index = requests_.size();
  const std::string id = "R" + std::to_string(index);
  std::string text = id + " ";
  if (step.act == Act::Long) {
    const unsigned sizes[] = {4080, 8170, 12260, 30000};
    text.append(sizes[step.time % 4] + static_cast<unsigned>(step.time / 7 % 20),
                static_cast<char>('A' + index % 26));
  }
  Request& request = requests_.emplace_back();
  request.client = step.client, request.thread = Me(), request.life = life;
  request.text = step.act == Act::ChangePassword ? id : text;
  request.begun = Tick();
  std::string buffer = "....." + text;
  request.accepted = Library([&] { return call(id, buffer); });
  request.returned = true;
  Log("client " + std::to_string(step.client) + " " + Name(step.act) + " " + id +
      (request.accepted ? " taken" : " refused"));
  if (!request.accepted && request.link >= 0) Fail("sent", id + " was refused and is on the wire");
  return request;
}

// Whether its link is up without a fault since then.
bool World::IsSound(const Life& life, std::uint64_t since) const {
  const auto found = links.find(life.upLink);
  if (life.destroyed || found == links.end() || life.lastChange > since) return false;
  const LinkBook& book = found->second;
  const Slot& slot = slots[life.Slot()];
  return slot.client && slot.client->State() == VekApi::vcs_ApReady && slot.connecting.empty() &&
         !book.over && !book.badPacket && book.line && !book.line->IsCut() && !book.line->SendRefused() &&
         story.chances.noThread == 0 && story.chances.noMemory == 0;
}

// All of them were let through between the beginning of the first and now.
void World::CheckRate(Life& life, Ns begun) {
  life.queries.push_back(begun);
  if (life.queries.size() <= story.pace) return;
  const Ns first =
      *std::min_element(life.queries.end() - static_cast<std::ptrdiff_t>(story.pace) - 1, life.queries.end());
  if (Now() - first < story.paceMs * kMs) Fail("pace", "too many queries");
}

// ---- the servers' records ----

void World::OnRequest(const std::string& text, int link) {
  const std::size_t id = static_cast<std::size_t>(std::strtoul(text.c_str() + 1, nullptr, 10));
  if (text[0] != 'R' || id >= requests_.size())
    Fail("torn", "a request that nobody sent: " + text.substr(0, 40));
  Request& request = requests_[id];
  if (request.text != text) Fail("torn", "R" + std::to_string(id) + " came with other bytes");
  if (request.link >= 0) Fail("doubled", "R" + std::to_string(id) + " came twice");
  if (request.returned && !request.accepted)
    Fail("sent", "R" + std::to_string(id) + " was refused and is on the wire");
  for (std::size_t later = id + 1; later < requests_.size(); ++later) {
    const Request& other = requests_[later];
    if (other.link == link && other.thread == request.thread && other.life == request.life)
      Fail("order", "R" + std::to_string(id) + " came behind a later one");
  }
  request.link = link;
}

void World::OnPaced(const std::string& text, int link, bool trueAcks) {
  int sender = 0;
  unsigned number = 0;
  if (std::sscanf(text.c_str(), "P%d.%u ", &sender, &number) != 2 || sender >= sendersMade_)
    Fail("torn", "a paced request that nobody sent: " + text.substr(0, 40));
  LinkBook& book = links[link];
  if (book.sender < 0) book.sender = sender;
  // Over a slow ring acknowledgements of an earlier sender may let the next one send sooner.
  if (book.proxy && book.sender != sender) trueAcks = false;
  const auto found = senders.find(sender);
  if (found == senders.end()) return;  // a last request of a deleted sender
  if (PacedText(sender, number) != text) Fail("torn", "a paced request came with other bytes");
  found->second->Arrived(number, link, trueAcks);
}

// ---- invariants ----

void World::Watch() {
  if (over_) return;
  if (Now() > 1000 * kSecond + kHung) Fail("hang", "the application's threads come to no end");
  for (Slot& slot : slots) WatchClient(slot);
  scheduler_.At(Now() + 3 * kSecond, [this] { Watch(); });
}

void World::WatchClient(Slot& slot) {
  if (!slot.client || !slot.connecting.empty() || !slot.life->inEvent.empty() || busyNow_ != 0) return;
  const Life& life = *slot.life;
  const int state = slot.client->State();
  const Ns quiet = Now() - life.lastEvent - Slack();
  if (state == VekApi::vcs_Connecting && quiet > 96 * kSecond) Fail("silent", "no event ends the connecting");
  if (state == VekApi::vcs_Connected && quiet > 46 * kSecond) Fail("silent", "no event ends the sign-on");
  if (state != VekApi::vcs_ApReady) return;
  const auto found = links.find(life.upLink);
  const Server* const server = found == links.end() ? nullptr : ServerOf(found->second);
  if (!server || !server->SignedOn()) return;
  const Line& line = *found->second.line;
  WatchGateway(found->second, life, quiet);
  if (line.IsCut()) {
    if (quiet > 2 * kSecond && Now() - found->second.lastTold > 200 * kSecond)
      Fail("silent", "no event tells that the link broke");
    return;
  }
  if (line.SendRefused() && quiet > 2 * kSecond && Now() - line.RefusedAt() > 2 * kSecond + Slack())
    Fail("silent", "no event tells that the system takes nothing more");
  if (line.FrozenSince() == kNever && BackedUp(found->second) == 0 &&
      Now() - server->LastBytes() > 36 * kSecond + Slack())
    Fail("heartbeat", "none came from client " + std::to_string(slot.life->number));
  Ns heard = std::max({line.LastDelivery(), life.lastSend, life.lastEvent});
  for (const auto& [number, sender] : senders) {
    if (sender->life == life.number) heard = std::max(heard, sender->lastSend);
  }
  if (Now() - heard > 66 * kSecond + Slack()) Fail("silent", "no event tells that the server is silent");
}

void World::WatchGateway(const LinkBook& book, const Life& life, Ns quiet) {
  const Gateway* const gateway = GatewayOf(book);
  if (!gateway || quiet <= 2 * kSecond) return;
  if (book.overBy != kNever && Now() > book.overBy + Slack())
    Fail("silent", "no event tells that the gateway is gone");
  if (gateway->MissesHeartbeat(life.lastEvent)) Fail("heartbeat", "none came to the gateway");
}

// ---- conditions at the end ----

void World::CheckRequests() {
  for (const Slot& slot : slots) {
    if (slot.sender) slot.sender->CheckRefused();
  }
  for (std::size_t id = 0; id < requests_.size(); ++id) {
    const Request& request = requests_[id];
    if (!request.accepted || request.link >= 0) continue;
    const Slot& slot = slots[request.client];
    const Life& life = *slot.life;
    const auto book = links.find(life.upLink);
    const bool sameLink =
        life.number == request.life && life.lastChange < request.begun && book != links.end();
    if (!sameLink || !slot.client->IsSessionConnected() || book->second.over || !book->second.line ||
        book->second.line->IsCut())
      continue;
    if (BackedUp(book->second) != 0) continue;
    Fail("lost", "R" + std::to_string(id) + " was accepted and never came, and the link is up");
  }
}

// What arrives at the very moment need not have been told.
void World::NoteArrivals() {
  for (auto& [id, book] : links) book.arrived = book.line ? book.line->Delivered() : 0;
  scheduler_.Sleep(100 * kMs);
}

void World::CheckLinks() {
  for (const Slot& slot : slots) {
    const auto found = links.find(slot.life->upLink);
    if (found == links.end() || found->second.over || !slot.client->IsSessionConnected()) continue;
    const LinkBook& book = found->second;
    if (!book.line || book.line->IsCut() || book.badPacket) continue;
    book.CheckTold(book.arrived);
  }
}

void World::CleanUp() {
  for (Slot& slot : slots) {
    // Others' events may still use it.
    for (int i = 0; !slot.users.empty(); ++i) {
      if (i > 300) Fail("hang", "a call comes to no end");
      scheduler_.Sleep(kSecond);
    }
    if (story.seed % 2) slot.sender.reset();
    slot.client.reset();
    slot.sender.reset();
  }
  for (int i = 0; i < 300 && !scheduler_.Alone(); ++i) scheduler_.Sleep(kSecond);
  if (!scheduler_.Alone()) Fail("thread", "there is still" + scheduler_.Others());
}

}  // namespace vektest
