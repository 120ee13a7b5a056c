#include "simulation/LoopWorld.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "session/Texts.h"
#include "simulation/Server.h"

namespace vektest {
namespace {

LoopLife& LifeOf(void* user) {
  return *static_cast<LoopLife*>(user);
}

void Tell(CVekClient* client, void* user, const std::string& line) {
  LifeOf(user).world->Told(LifeOf(user), *client, line);
}

// Each is called by the library.
CVekClientCallbacks Callbacks() {
  CVekClientCallbacks table{};
  table.OnVekConnectEvent = [](CVekClient* client, void* user, const char* reason) {
    const OutOfLibrary application;
    Tell(client, user, "connect " + std::to_string(CVekClient_State(client)) + " " + reason);
  };
  table.OnVekApReadyEvent = [](CVekClient* client, void* user) {
    const OutOfLibrary application;
    LifeOf(user).world->OnReady(LifeOf(user), *client);
  };
  table.OnVekTaskResultEvent = [](CVekClient* client, void* user, const CVekTaskResult* result) {
    const OutOfLibrary application;
    Tell(client, user,
         std::string("result ") + CVekTaskResult_WorkID(result) + " " + CVekTaskResult_OrigResult(result));
  };
  table.OnVekChgPassResultEvent = [](CVekClient* client, void* user, const char* id, const char* text) {
    const OutOfLibrary application;
    Tell(client, user, std::string("chgpass ") + id + " " + text);
  };
  table.OnVekRequestAckEvent = [](CVekClient* client, void* user, int code, const char* text) {
    const OutOfLibrary application;
    LifeOf(user).world->OnAck(LifeOf(user), code, text);
    Tell(client, user, "ack " + std::to_string(code) + " " + text);
  };
  table.OnVekReportEvent = [](CVekClient* client, void* user, const char* text) {
    const OutOfLibrary application;
    Tell(client, user, std::string("report ") + text);
  };
  table.OnVekUnknownMsgCodeEvent = [](CVekClient* client, void* user, int code, const char* packet,
                                      int length) {
    const OutOfLibrary application;
    const std::string text(packet + 5, static_cast<std::size_t>(length - 5));
    Tell(client, user, "unknown " + std::to_string(code) + " " + text);
  };
  table.OnVekClientDestroyEvent = [](CVekClient*, void* user) {
    const OutOfLibrary application;
    LifeOf(user).world->OnDestroyed(LifeOf(user));
  };
  return table;
}

}  // namespace

// ---- the run ----

void LoopWorld::Run() {
  now_.resize(story.clients);
  events_.resize(story.clients);
  nested_.resize(story.threads);
  running_ = story.threads;
  for (unsigned thread = 0; thread < story.threads; ++thread)
    scheduler_.Start(kThreads[thread], [this, thread] { RunThread(thread); });
  for (int i = 0; running_ != 0; ++i) {
    if (i > 6000) Fail("hang", "the application's threads come to no end");
    scheduler_.Sleep(kSecond);
  }
  scheduler_.NoMoreFaults();
  for (int calm = 0; calm < 20; calm = busy_ == 0 ? calm + 1 : 0) {
    scheduler_.Sleep(kSecond);
    for (auto& [id, book] : links) {
      if (book.line) book.line->Thaw();
    }
  }
  NoteArrivals();
  for (const LoopLife* const life : now_) {
    if (life) CheckAtEnd(*life);
  }
  over_ = true;
  for (int i = 0; i < 300 && !scheduler_.Alone(); ++i) {
    scheduler_.Sleep(kSecond);
    for (LoopLife* const life : now_) {
      if (life && life->orphaned && !life->deleting) Delete(*life);
    }
  }
  if (!scheduler_.Alone()) Fail("thread", "there is still" + scheduler_.Others());
}

void LoopWorld::RunThread(unsigned thread) {
  for (const Step& step : story.steps) {
    if (step.thread != thread || step.inside >= 0) continue;
    Pump(thread, 1000 * kSecond + step.at);
    Do(step, false);
  }
  --running_;
  while (!over_) Pump(thread, Now() + kSecond);
  const bool leaves = story.seed / 8 % 4 == 0;  // the clients to others
  for (unsigned slot = thread; slot < story.clients; slot += story.threads) {
    if (!now_[slot] || now_[slot]->deleting) continue;
    now_[slot]->orphaned = leaves;
    if (!leaves) Delete(*now_[slot]);
  }
}

// Makes what is missing, and delivers messages.
void LoopWorld::Pump(unsigned thread, Ns until) {
  do {
    for (unsigned slot = thread; slot < story.clients && !over_; slot += story.threads) {
      if (!now_[slot]) MakeClient(slot);
      if (now_[slot]) GiveUpHeld(*now_[slot]);
    }
    const Ns left = std::clamp<Ns>(until - Now(), 0, kSecond);
    if (Library([&] { return CVekMessageLoop_Dispatch(static_cast<int>(left / kMs)); }) < 0)
      Fail("state", "a thread has no messages");
    if (left < kMs && until > Now()) scheduler_.Sleep(until - Now());
  } while (Now() < until);
}

// What the sender holds and does not send for a while.
void LoopWorld::GiveUpHeld(LoopLife& life) {
  CVekFlowCtrlSender sender = life.sender;
  const unsigned held = CVekFlowCtrlSender_PendingCount(&sender);
  if (held != std::exchange(life.held, held)) life.heldSince = Now();
  if (held == 0 || Now() - life.heldSince < 2 * kSecond) return;
  const InLibrary library;
  CVekFlowCtrlSender_DropPending(&sender);
}

void LoopWorld::MakeClient(unsigned slot) {
  LoopLife& life = lives_.emplace_back();
  life.world = this, life.slot = slot, life.owner = Me(), life.number = static_cast<int>(lives_.size()) - 1;
  static const CVekClientCallbacks callbacks = Callbacks();
  life.client = Library([&] { return CVekClient_Create_OnMessageLoop(&callbacks, &life); });
  if (!life.client.object) return;
  MakeSender(life);
  now_[slot] = &life;
}

// Without them, if memory or windows are short.
void LoopWorld::MakeSender(LoopLife& life) {
  static const CVekFlowCtrlSenderCallbacks sent{
      [](CVekFlowCtrlSender*, void* user, unsigned count, unsigned refused) {
        const OutOfLibrary application;
        LifeOf(user).world->OnSent(LifeOf(user), count, refused);
      }};
  static const CVekFlowCtrlCallbacks free{[](CVekFlowCtrl*, void* user) {
    const OutOfLibrary application;
    LifeOf(user).world->OnFree(LifeOf(user));
  }};
  life.sender = Library([&] { return CVekFlowCtrlSender_Create_OnMessageLoop(&life.client, &sent, &life); });
  life.gate = Library([&] { return CVekFlowCtrl_Create_OnMessageLoop(&free, &life); });
  life.hasSender = true;
  SetRate(life);
  life.rateSince = 0;  // acknowledgements of the last sender's requests count for this one
}

void LoopWorld::DropSender(LoopLife& life) {
  CVekFlowCtrlSender sender = std::exchange(life.sender, {});
  CVekFlowCtrl gate = std::exchange(life.gate, {});
  life.waitsSince = kNever;
  life.tellsRefused = 0;
  {
    const InLibrary library;
    CVekFlowCtrlSender_Delete(&sender);
    CVekFlowCtrl_Delete(&gate);
  }
  life.hasSender = false;
}

// ---- the application's calls ----

void LoopWorld::RunInside(LoopLife& life) {
  const int event = events_[life.slot]++;
  if (over_ || life.inEvent.size() > 3) return;
  for (const Step& step : story.steps) {
    if (step.inside == event && step.host == life.slot) Do(step, true);
    if (life.deleting) return;
  }
}

void LoopWorld::Do(const Step& step, bool inside) {
  if (step.act == Act::Busy) return Busy(step, inside);
  LoopLife* const life = now_[step.client];
  if (!life || life->deleting || over_) return;
  Reach(std::string("loop: ") + Name(step.act) + (inside ? " inside" : "") +
        (life->owner == Me() ? "" : " on another thread") + " in state " +
        std::to_string(CVekClient_State(&life->client)));
  switch (step.act) {
    case Act::Connect:
    case Act::Disconnect:
      return Structural(step, *life);
    case Act::Delete:
      if (OnlyMe(life->users) && (life->owner == Me() || (!inside && life->inEvent.empty()))) Delete(*life);
      return;
    case Act::NewSender:
      if (life->owner == Me() && life->users.empty()) NewSender(*life);
      return;
    case Act::Paced:
    case Act::PacedMany:
      return Paced(step, *life);
    default:
      return Request(step, *life);
  }
}

// Inside a callback a nested loop, or nothing; outside nothing, as a thread that hangs.
void LoopWorld::Busy(const Step& step, bool inside) {
  const auto thread = static_cast<unsigned>(Me()->name[3] - '0');
  ++busy_;
  if (!inside || step.time % 2 != 0 || nested_[thread] > 2) {
    scheduler_.Sleep(step.time);
  } else {
    ++nested_[thread];
    for (const Ns until = Now() + step.time; Now() < until;)
      Library([&] { return CVekMessageLoop_Dispatch(100); });
    --nested_[thread];
  }
  --busy_;
}

void LoopWorld::Structural(const Step& step, LoopLife& life) {
  if (!OnlyMe(life.connecting)) return;
  const Using use(life.users, Me());
  const Using changes(life.connecting, Me());
  const std::size_t call = life.calls.size();
  const bool connects = step.act == Act::Connect;
  life.calls.push_back({connects ? step.id : -1, Tick(), UINT64_MAX, false});
  life.lastChange = Tick();
  Log("client " + std::to_string(life.slot) + " " + Name(step.act) + " " + std::to_string(step.id));
  CVekClient client = life.client;
  if (connects) {
    links[step.id].begun = Now();
    const std::string id = std::to_string(step.id);
    const std::string host = story.Server(step.id).named ? "host:" : "10.0.0.1:";
    const std::string setting = host + std::to_string(kFirstPort + static_cast<unsigned>(step.id));
    const std::string app = "App" + id, first = "u" + id, second = "s" + id, pass = "p" + id;
    const InLibrary library;
    CVekClient_Connect(&client, setting.c_str(), app.c_str(), "1.2", first.c_str(), second.c_str(),
                       pass.c_str());
  } else {
    const InLibrary library;
    CVekClient_Disconnect(&client);
  }
  life.calls[call].ended = Tick();
  life.lastChange = Tick();
  Log("client " + std::to_string(life.slot) + " " + Name(step.act) + " is back");
}

void LoopWorld::Delete(LoopLife& life) {
  const Using use(life.users, Me());
  life.deleting = true;
  Log("client " + std::to_string(life.slot) + " delete");
  DropSender(life);
  CVekClient client = life.client;
  Library([&] { CVekClient_Delete(&client); });
  if (!life.destroyed || client.object) Fail("silent", "a client went without its last event");
  Log("client " + std::to_string(life.slot) + " is deleted");
  now_[life.slot] = nullptr;
}

void LoopWorld::Request(const Step& step, LoopLife& life) {
  const Using use(life.users, Me());
  CVekClient client = life.client;
  Make(step, life.number, [&](const std::string& id, std::string& buffer) {
    const auto size = static_cast<unsigned>(buffer.size());
    if (step.act == Act::ChangePassword)
      return CVekClient_ChgPass(&client, id.c_str(), "the old one", "the new one");
    if (step.act == Act::Query) return CVekClient_SendVekQueryRequest(&client, buffer.data(), size) == 0;
    return CVekClient_SendVekRequest(&client, step.act == Act::Order ? 129 : 150, buffer.data(), size);
  });
}

// ---- paced requests ----

void LoopWorld::Paced(const Step& step, LoopLife& life) {
  const Using use(life.users, Me());
  CVekFlowCtrlSender sender = life.sender;
  CVekFlowCtrl gate = life.gate;
  CVekFlowCtrl order{sender.object};
  const unsigned count = step.act == Act::Paced ? 1 : 2 + static_cast<unsigned>(step.time % 11);
  CVekFlowCtrl_Lock(&order);
  std::string buffer = ".....";
  for (unsigned i = 0; i < count && sender.object; ++i) {
    buffer += (i ? "\n" : "") + PacedText(life.number, static_cast<unsigned>(life.begun.size()));
    life.begun.push_back(Tick());
  }
  const auto size = static_cast<unsigned>(buffer.size());
  const InLibrary library;
  if (count == 1) CVekFlowCtrlSender_SendVekRequest(&sender, buffer.data(), size);
  if (count > 1) CVekFlowCtrlSender_SendVekRequests(&sender, buffer.data(), size);
  CVekFlowCtrl_Unlock(&order);
  if (!gate.object || life.waitsSince != kNever) return;
  for (unsigned i = 0; i < count; ++i) {
    if (CVekFlowCtrl_CheckFlowCtrl(&gate) == 0) {
      CVekFlowCtrl_SetAckTime(&gate, 1);
      continue;
    }
    life.waitsSince = Now();
    return CVekFlowCtrl_StartCheckTimer(&gate);
  }
}

void LoopWorld::OnFree(LoopLife& life) {
  Log("client " + std::to_string(life.slot) + " gate open");
  if (life.owner != Me()) Fail("thread", "a gate called back on another thread");
  if (!life.hasSender) Fail("late", "a gate called back that was deleted");
  life.waitsSince = kNever;
}

void LoopWorld::OnSent(LoopLife& life, unsigned sent, unsigned refused) {
  if (life.owner != Me()) Fail("thread", "a sender called back on another thread");
  if (!life.hasSender) Fail("late", "a sender called back that was deleted");
  life.tellsSent += sent;
  life.tellsRefused += refused;
  if (life.tellsSent + life.tellsRefused > life.begun.size()) Fail("count", "more is sent than there was");
}

void LoopWorld::OnAck(LoopLife& life, int code, const char* text) {
  const Using use(life.users, Me());
  CVekFlowCtrlSender sender = life.sender;
  const InLibrary library;
  CVekFlowCtrlSender_AckParser(&sender, code, text);
}

void LoopWorld::OnPaced(const std::string& text, int link, bool trueAcks) {
  unsigned which = 0, number = 0;
  const bool known = std::sscanf(text.c_str(), "P%u.%u ", &which, &number) == 2 && which < lives_.size() &&
                     number < lives_[which].begun.size();
  if (!known || PacedText(lives_[which].number, number) != text) Fail("torn", text.substr(0, 40));
  LoopLife& life = lives_[which];
  const std::string what = text.substr(0, text.find(' '));
  if (!life.came.insert(number).second) Fail("doubled", what + " came twice");
  Row& row = rows_[link];
  if (row.last >= 0 && static_cast<unsigned>(row.last) > number)
    Fail("order", what + " came behind a later one");
  row.last = static_cast<int>(number);
  row.paced = row.paced && life.rateSince != 0 && life.begun[number] > life.rateSince;
  row.arrivals.push_back(Now());
  const std::size_t count = row.arrivals.size();
  if (trueAcks && row.paced && count > story.pace &&
      Now() - row.arrivals[count - 1 - story.pace] < story.paceMs * kMs)
    Fail("pace", what + " came too soon");
}

// ---- events ----

void LoopWorld::OnDestroyed(LoopLife& life) {
  Log("client " + std::to_string(life.slot) + " destroy");
  if (life.destroyed || !life.deleting) Fail("late", "a client was destroyed twice, or by nobody");
  life.destroyed = true;
}

void LoopWorld::OnReady(LoopLife& life, const CVekClient& client) {
  const CVekTaskResult result = CVekClient_SgnResult(&client);
  const CVekTable table = CVekTaskResult_NameTable(&result, "link");
  const char* const id = CVekTable_RecordIndexField(&table, 0, 0);
  if (!id || "S" + std::string(id) + ".0.0.0.0" != CVekClient_ServerName(&client))
    Fail("mixed", "the sign-on of another link");
  if (const int link = std::atoi(id); std::exchange(life.rated, link) != link) {
    // The acknowledgement of what was, or may have been, sent over this link before counts for a later one.
    Row& row = rows_[link];
    if (!row.arrivals.empty() || life.came.size() < life.begun.size()) row.paced = false;
    SetRate(life);
  }
  Told(life, client, "ready");
}

void LoopWorld::NewSender(LoopLife& life) {
  const Using use(life.users, Me());
  DropSender(life);
  if (!life.deleting) MakeSender(life);
}

// Once for each link: what was sent over an earlier one is never acknowledged.
void LoopWorld::SetRate(LoopLife& life) {
  life.rateSince = Tick();
  CVekFlowCtrlSender sender = life.sender;
  CVekFlowCtrl gate = life.gate;
  const auto count = static_cast<int>(story.pace), ms = static_cast<int>(story.paceMs);
  const InLibrary library;
  CVekFlowCtrlSender_SetFlowCtrl(&sender, count, ms);
  CVekFlowCtrl_SetFlowCtrl(&gate, count, ms);
}

void LoopWorld::Told(LoopLife& life, const CVekClient& client, const std::string& line) {
  Log("client " + std::to_string(life.slot) + " told: " + line.substr(0, 70));
  Reach("loop told " + line.substr(0, line.find(' ', 8)).substr(0, 10));
  if (life.owner != Me()) Fail("thread", "told on another thread: " + line.substr(0, 60));
  if (life.destroyed) Fail("late", "an event after the last: " + line.substr(0, 60));
  const Using use(life.inEvent, Me());
  const int state = CVekClient_State(&client);
  const std::string server = CVekClient_ServerName(&client);
  if (Begins(line, "connect -") && !Begins(line, "connect -6") && !Begins(line, "connect -5")) {
    CheckOwnWords(life, state, server, line);
  } else {
    const int link = LinkOf(life, server, line);
    CheckCall(life, link, line);
    LinkBook& book = links[link];
    if (book.over && !GuessAgain(life, link))
      Fail("late", "an event behind the end of its link: " + line.substr(0, 60));
    if (book.told >= book.expected.size() || !Is(line, book.expected[book.told].line))
      Fail("order",
           "told \"" + line.substr(0, 60) + "\" instead of \"" +
               (book.told < book.expected.size() ? book.expected[book.told].line.substr(0, 60) : "") + "\"");
    ++book.told;
    life.upLink = link;
    if (state == 0 || (state < 0 && state >= -3))
      Fail("state", line.substr(0, 40) + " in state " + std::to_string(state));
  }
  RunInside(life);
}

// Without memory the server's name is out of date.
int LoopWorld::LinkOf(const LoopLife& life, const std::string& server, const std::string& line) {
  for (const LoopLife::Call& call : life.calls) {
    if (story.chances.noMemory == 0 || !line.ends_with(VekApi::kTextNoMemory)) break;
    const LinkBook& book = links[call.link];
    if (!book.over && book.told < book.expected.size() && Is(line, book.expected[book.told].line))
      return call.link;
  }
  return server.empty() ? -1 : std::atoi(server.c_str() + 1);
}

// Without memory the text of a connect event is replaced by one that says so.
bool LoopWorld::Is(const std::string& told, const std::string& expected) const {
  if (told == expected) return true;
  return story.chances.noMemory != 0 && Begins(expected, "connect ") &&
         told == expected.substr(0, expected.find(' ', 8) + 1) + VekApi::kTextNoMemory;
}

// Events of a call are told before those of a call that began after its return.
void LoopWorld::CheckCall(LoopLife& life, int link, const std::string& line) {
  for (LoopLife::Call& call : life.calls) {
    if (call.link != link || call.ended < life.floor || (link < 0 && std::exchange(call.told, true)))
      continue;
    life.floor = std::max(life.floor, call.begun);
    return;
  }
  Fail("mixed", "link " + std::to_string(link) + " is over, or was never: " + line.substr(0, 60));
}

void LoopWorld::CheckOwnWords(LoopLife& life, int state, const std::string& server, const std::string& line) {
  const std::string reason = line.substr(line.find(' ', 8) + 1);
  life.lastChange = Tick();
  if (state == VekApi::vcs_Disconnected) {
    if (!Is(line, "connect -1 Disconnect()")) Fail("state", line);
    return CheckCall(life, -1, line);
  }
  int link = server.empty() ? -1 : std::atoi(server.c_str() + 1);
  for (const std::string host : {"10.0.0.1:", "host:"}) {
    if (Begins(reason, host)) link = std::atoi(reason.c_str() + host.size()) - 1000;
  }
  // Nothing tells whose it is: of the oldest that it can be. Without memory the server's name is out of date.
  if (story.chances.noMemory != 0 && reason == VekApi::kTextNoMemory) link = -1;
  if (link < 0) link = life.guessed = Oldest(life, state);
  if (link >= 0 && links[link].over) GuessAgain(life, link);
  CheckCall(life, link, line);
  CheckEnd(links[link], link, state, reason);
}

// Of those that the end may be of.
int LoopWorld::Oldest(const LoopLife& life, int state) {
  for (const LoopLife::Call& call : life.calls) {
    if (call.link < 0 || call.ended < life.floor || links[call.link].over) continue;
    if (state != VekApi::vcs_LinkError || links[call.link].told == 0) return call.link;
  }
  return -1;
}

// The event shows that another link was meant. False if there is none.
bool LoopWorld::GuessAgain(LoopLife& life, int link) {
  if (link != life.guessed || links[link].told != 0) return false;
  const int other = Oldest(life, VekApi::vcs_LinkError);
  if (other < 0) return false;
  links[link].over = false;
  links[other].over = true;
  life.guessed = other;
  return true;
}

void LoopWorld::CheckEnd(LinkBook& book, int link, int state, const std::string& reason) {
  const std::string what = "link " + std::to_string(link) + ": " + std::to_string(state) + " " + reason;
  const Ns age = Now() - book.begun;
  if (book.over) Fail("late", "behind its end: " + what);
  if (state == VekApi::vcs_UnknownServer || state == VekApi::vcs_HeartbeatTimeout) {
    if (age < 29'900 * kMs) Fail("early", what);
    return;
  }
  book.over = true;
  if (state == VekApi::vcs_LinkError) {
    if (book.told != 0) Fail("state", "it was up: " + what);
    return;
  }
  if (reason == VekApi::kTextSignOnTimeout) {
    if (age < 44'900 * kMs) Fail("early", what);
  } else if (reason == "Invalid packet length") {
    if (!book.badPacket || book.told != book.expected.size()) Fail("order", what);
  } else if (book.line) {
    const bool cause = book.line->IsCut() || book.line->SendRefused() || story.chances.noThread != 0 ||
                       (story.chances.noMemory != 0 && reason == VekApi::kTextNoMemory);
    if (!cause) Fail("state", "a sound link broke: " + what);
    if (reason.find("closed by the peer") != std::string::npos) book.CheckTold(book.line->Delivered());
  }
}

// ---- conditions at the end, when all threads serve their loops ----

void LoopWorld::CheckAtEnd(const LoopLife& life) {
  if (life.deleting || !life.connecting.empty()) return;
  if (life.sender.object && CVekFlowCtrlSender_RefusedCount(&life.sender) != life.tellsRefused)
    Fail("count", "requests that were refused");
  if (life.waitsSince != kNever && Now() - life.waitsSince > 10 * kSecond)
    Fail("silent", "a gate does not open");
  const auto found = links.find(life.upLink);
  if (found == links.end() || found->second.over || !CVekClient_IsSessionConnected(&life.client)) return;
  const LinkBook& book = found->second;
  if (!book.line || book.line->IsCut() || book.badPacket) return;
  book.CheckTold(book.arrived);
  for (const auto& each : requests_) {
    if (each.life == life.number && each.accepted && each.link < 0 && each.begun > life.lastChange &&
        book.line->BackedUp() == 0)
      Fail("lost", each.text.substr(0, 10) + " was accepted and never came, and the link is up");
  }
}

}  // namespace vektest
