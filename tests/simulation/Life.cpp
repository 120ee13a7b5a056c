// Checks the events of a client against what its server sent.
#include <algorithm>
#include <cstdlib>
#include <utility>

#include "session/Texts.h"
#include "simulation/Gateway.h"
#include "simulation/Server.h"
#include "simulation/World.h"

namespace vektest {
// A link has ended if a call that began after the return of the call that made it has itself returned.
bool Life::Allows(int link) const {
  const auto made =
      std::find_if(calls.begin(), calls.end(), [&](const Call& call) { return call.link == link; });
  if (made == calls.end()) return false;
  return std::none_of(calls.begin(), calls.end(),
                      [&](const Call& call) { return call.begun > made->ended && call.ended != UINT64_MAX; });
}

void Life::OnVekConnectEvent(VekApi::VekClient& client, const std::string& reason) {
  const OutOfLibrary application;
  Check(client, "connect " + std::to_string(client.State()) + " " + reason);
}
void Life::OnVekApReadyEvent(VekApi::VekClient& client) {
  const OutOfLibrary application;
  const auto* const table = client.SgnResult().Table("link");
  const char* const id = table ? table->RecordField(0, 0) : nullptr;
  if (!id || "S" + std::string(id) + ".0.0.0.0" != client.ServerName())
    Fail("mixed", "the sign-on of another link");
  if (client.State() != VekApi::vcs_ApReady)
    Fail("state", "ready in state " + std::to_string(client.State()));
  if (!ready) ready = world_.Now();
  Check(client, "ready");
}
void Life::OnVekTaskResultEvent(VekApi::VekClient& client, const VekApi::VekTaskResult& result) {
  const OutOfLibrary application;
  Check(client, "result " + result.WorkID() + " " + result.OrigResult());
}
void Life::OnVekChgPassResultEvent(VekApi::VekClient& client, const std::string& user,
                                   const std::string& text) {
  const OutOfLibrary application;
  Check(client, "chgpass " + user + " " + text);
}
void Life::OnVekRequestAckEvent(VekApi::VekClient& client, int code, const std::string& text) {
  const OutOfLibrary application;
  auto& sender = world_.slots[slot_].sender;
  if (sender && world_.slots[slot_].life == this) {
    const Using use(sender->users, &world_.scheduler_.Self());
    Library([&] { sender->VekAckParser(code, text); });
  }
  Check(client, "ack " + std::to_string(code) + " " + text);
}
void Life::OnVekReportEvent(VekApi::VekClient& client, const std::string& text) {
  const OutOfLibrary application;
  Check(client, "report " + text);
}
void Life::OnVekUnknownMsgCodeEvent(VekApi::VekClient& client, int code, const char* packet, int length) {
  const OutOfLibrary application;
  Check(client, "unknown " + std::to_string(code) + " " +
                    std::string(packet + 5, static_cast<std::size_t>(length - 5)));
}
void Life::OnVekClientDestroyEvent(VekApi::VekClient& client) {
  const OutOfLibrary application;
  world_.Log("client " + std::to_string(slot_) + " destroy");
  if (destroyed) Fail("late", "a client was destroyed twice");
  static_cast<void>(client);
  destroyed = true;
}

// A request that is shown is not sent yet: one that is made inside would go before it.
void Life::OnVekTraceEvent(VekApi::VekClient& client, const CVekEvent& event) {
  const OutOfLibrary application;
  if (destroyed) Fail("late", "traced after the last event");
  const bool packet = (event.flags & vsg_Packet) != 0, out = (event.flags & vsg_Outbound) != 0;
  const bool request = out && (event.code > VekSim::Code::kSession ||
                               (event.code == VekSim::Code::kSession && event.text[VekSim::kHeadSize] == 1));
  if (event.kind == vse_State || (packet && !request)) {
    const Ns begun = world_.Now();
    world_.RunInside(slot_, client);
    if (world_.Now() != begun) lastEvent = world_.Now();  // meanwhile the link could not do anything
  }
  if (!destroyed && world_.Tick() % 50 == 0) VekApi::VekLink::SetTrace(client, nullptr, vtl_None);
}

void Life::Check(VekApi::VekClient& client, const std::string& line) {
  world_.Log("client " + std::to_string(slot_) + " told: " + line.substr(0, 70));
  World::Reach("told " + line.substr(0, line.find(' ', 8)).substr(0, 10));
  Task* const me = &world_.scheduler_.Self();
  if (destroyed) Fail("late", "an event after the last: " + line.substr(0, 60));
  // Only beside an event that waits in a call of its own, on this thread or another.
  if (!inEvent.empty() && inEvent.back() != me) {
    const bool waits = std::any_of(world_.slots.begin(), world_.slots.end(), [&](const World::Slot& slot) {
      return std::find(slot.connecting.begin(), slot.connecting.end(), inEvent.back()) !=
             slot.connecting.end();
    });
    if (!waits) Fail("overlap", "two events at once: " + line.substr(0, 60));
  }
  const Using use(inEvent, me);
  const bool own = Begins(line, "connect -") && !Begins(line, "connect -6") && !Begins(line, "connect -5");
  if (own) {
    CheckOwnWords(client, line);
  } else {
    const std::string& server = client.ServerName();
    const int link = server.empty() ? -1 : std::atoi(server.c_str() + 1);
    if (!Allows(link)) Fail("mixed", "link " + std::to_string(link) + " is over: " + line.substr(0, 60));
    LinkBook& book = world_.links[link];
    if (book.over) Fail("late", "an event behind the end of its link: " + line.substr(0, 60));
    if (book.told >= book.expected.size() || book.expected[book.told].line != line)
      Fail("order",
           "told \"" + line.substr(0, 60) + "\" instead of \"" +
               (book.told < book.expected.size() ? book.expected[book.told].line.substr(0, 60) : "") + "\"");
    ++book.told;
    book.lastTold = world_.Now();
    upLink = link;
    const int state = client.State();
    if (state == 0 || (state < 0 && state >= -3))
      Fail("state", line.substr(0, 40) + " in state " + std::to_string(state));
  }
  lastEvent = world_.Now();
  lastLine_ = line;
  world_.RunInside(slot_, client);
  // Only now is the event over.
  lastEvent = world_.Now();
  if (upLink >= 0) world_.links[upLink].lastTold = world_.Now();
}

int Life::LinkIn(const std::string& reason, VekApi::VekClient& client) const {
  for (const std::string host : {"10.0.0.1:", "host:"}) {
    const std::size_t at = reason.find(host);
    if (at != std::string::npos) return std::atoi(reason.c_str() + at + host.size()) - 1000;
  }
  const std::string& server = client.ServerName();
  return server.empty() ? -1 : std::atoi(server.c_str() + 1);
}

std::size_t Life::CallsEnded() const {
  return static_cast<std::size_t>(
      std::ranges::count_if(calls, [](const Call& call) { return call.ended != UINT64_MAX; }));
}

// Whose end a text tells that names no link: that of the call it is told in, or the last one's; of several
// that may not have been opened, the first one's.
int Life::Unnamed(int state, const std::string& reason) const {
  const Task* const me = &world_.scheduler_.Self();
  int found = -1;
  for (const Call& call : calls) {
    if (call.link >= 0 && call.caller == me && call.ended == UINT64_MAX) found = call.link;
  }
  if (found >= 0) return found;
  for (const Call& call : calls) {
    if (call.link < 0 || !Allows(call.link)) continue;
    const LinkBook& book = world_.links[call.link];
    if (found < 0 || !book.over) found = call.link;
    const bool hasCause = !Begins(reason, "ShMem") || !world_.CouldBeOpened(call.link);
    const bool early = state == VekApi::vcs_LinkError || state == VekApi::vcs_LinkBroken;
    if (early && !book.over && book.told == 0 && hasCause) return found;
  }
  return found;
}

// Requests outstanding over an ended link are never acknowledged.
void Life::RestartSender() {
  if (auto& sender = world_.slots[slot_].sender; sender && world_.slots[slot_].life == this)
    sender->Restart(CallsEnded());
}

// Checks the texts that the library itself produces.
void Life::CheckOwnWords(VekApi::VekClient& client, const std::string& line) {
  const int state = client.State();
  const std::string reason = line.substr(line.find(' ', 8) + 1);
  const auto& chances = world_.story.chances;
  lacksThread_ =
      (chances.noThread != 0 || chances.noMemory != 0) && VekApi::VekLink::Reason(client) == vsr_NoThread;
  if (state == VekApi::vcs_Disconnected) {
    if (reason != "Disconnect()") Fail("state", line);
    if (world_.slots[slot_].connecting.empty()) Fail("late", "\"Disconnect()\" when nobody disconnects");
    RestartSender();
    return;
  }
  int link = LinkIn(reason, client);
  const bool told = std::any_of(calls.begin(), calls.end(), [&](const Call& call) {
    return call.link >= 0 && Allows(call.link) && (link < 0 || link == call.link);
  });
  if (!told) Fail("mixed", "of a link that is over: " + line);
  if (link < 0) link = Unnamed(state, reason);
  CheckEnd(world_.links[link], link, line);
}

void Life::CheckEnd(LinkBook& book, int link, const std::string& line) {
  const int state = std::atoi(line.c_str() + 8);
  const std::string reason = line.substr(line.find(' ', 8) + 1);
  const Ns age = world_.Now() - book.begun;
  if (book.over) Fail("late", "behind the end of link " + std::to_string(link) + ": " + line);
  if (state == VekApi::vcs_UnknownServer) {
    if (age < 29'900 * kMs) Fail("early", line + " after " + std::to_string(age / kMs) + " ms");
    return;
  }
  if (state == VekApi::vcs_HeartbeatTimeout) {
    if (world_.Now() - book.lastTold < 29'900 * kMs) Fail("early", line + " soon after the server was heard");
    return;
  }
  if (state == VekApi::vcs_LinkBroken && Begins(lastLine_, "connect -5") && book.told > 0 &&
      book.expected[book.told - 1].line == lastLine_)
    Fail("state", "told after a refusal: " + line);
  book.over = true;
  lastChange = world_.Tick();
  if (state == VekApi::vcs_LinkError) {
    if (book.told != 0) Fail("state", "a link that was up could not be opened: " + line);
    if (world_.CouldBeOpened(link)) Fail("state", "one of the addresses would have answered: " + line);
    if (reason == VekApi::kTextBadSetting && !lacksThread_) Fail("reason", "the setting is right: " + line);
  } else if (reason == "Sign-on timeout") {
    if (world_.Now() - book.lastTold < 44'900 * kMs && age < 44'900 * kMs) Fail("early", line);
  } else if (reason == "Invalid packet length") {
    if (!book.badPacket || book.told != book.expected.size()) Fail("order", line);
  } else if (book.line) {
    const auto& chances = world_.story.chances;
    const Gateway* const gateway = World::GatewayOf(book);
    const bool cause = book.line->IsCut() || book.line->SendRefused() || chances.noThread != 0 ||
                       (gateway && gateway->MayBlame(reason)) ||
                       (chances.noMemory != 0 && reason.ends_with(VekApi::kTextNoMemory));
    if (!cause) Fail("state", "a sound link broke: " + line);
    if (reason.find("closed by the peer") != std::string::npos) book.CheckTold(book.line->Delivered());
  }
  RestartSender();
}

// ---- senders ----

Sender::Sender(World& world, VekApi::VekClient& client, int which, const Life& of)
    : VekFlowCtrlSender(client),
      number(which),
      life(of.number),
      world_(world),
      made_(world.Now()),
      count_(static_cast<int>(world.story.pace)),
      ms_(static_cast<int>(world.story.paceMs)) {
  const OutOfLibrary application;
  Restart(std::max<std::size_t>(of.CallsEnded(), 1) - 1);  // the last call's link may exist
  world_.senders[number] = this;
}

Sender::~Sender() {
  CloseGate();
  const OutOfLibrary application;
  world_.senders.erase(number);
}

void Sender::Send(unsigned requests, bool singly, Ns pause) {
  const Using use(users, &world_.scheduler_.Self());
  const VekApi::VekFlowCtrlLocker lock(*this);
  world_.Log("sender " + std::to_string(number) + " from " + std::to_string(issued_) + ": " +
             std::to_string(requests) + (singly ? " singly" : ""));
  if (!singly) return SendSome(requests);
  for (; requests > 0; --requests) {
    SendSome(1);
    if (pause != 0 && requests > 1) world_.Busy(pause);
  }
}

// Under the user lock. Of a call that fails nothing is sent or held, so its numbers are used again.
void Sender::SendSome(unsigned requests) {
  const unsigned first = issued_;
  lastSend = world_.Now();
  issued_ += requests;
  std::deque<std::string> texts;
  std::string buffer = ".....";
  for (unsigned i = 0; i < requests; ++i) {
    texts.push_back(PacedText(number, first + i));
    buffer += (i ? "\n" : "") + texts.back();
  }
  const auto length = static_cast<unsigned>(buffer.size());
  const bool done = LibraryMay([&] {
    if (requests == 1) {
      SendVekRequest(buffer.data(), length);
    } else if (requests % 2) {
      SendVekRequests(texts);
    } else {
      SendVekRequests(buffer.data(), length);
    }
  });
  if (!done) issued_ = first;
}

void Sender::Restart(std::size_t calls) {
  calls_ = calls;
  refusedSince_ = false;
  Library([&] { SetFlowCtrl(count_, ms_); });
}

void Sender::Look(bool sound, std::size_t calls) {
  const bool moves = came_.size() != std::exchange(seen_, came_.size()) || PendingCount() == 0;
  const bool stalled = world_.Slack() != std::exchange(slack_, world_.Slack());
  stuck_ = moves ? 0 : stuck_ + kSecond;
  sound_ = sound && !stalled ? sound_ + kSecond : 0;
  if (stuck_ < (sound_ > 0 ? 14 : 2) * kSecond) return;
  if (sound_ > 13 * kSecond && calls <= calls_ + 1 && !refusedSince_)
    Fail("held", "nobody sends what sender " + std::to_string(number) + " holds");
  const VekApi::VekFlowCtrlLocker lock(*this);
  std::size_t dropped = 0;
  if (!LibraryMay([&] { dropped = TakePending().size(); })) return;
  for (std::size_t i = issued_ - dropped; i < issued_; ++i) given_.insert(static_cast<unsigned>(i));
}

// Under the user lock: the refused ones are those directly before the ones still held.
void Sender::OnVekRequestsSent(unsigned requests, bool taken) {
  const OutOfLibrary application;
  lastSend = world_.Now();
  if (taken) return;
  refusedSince_ = true;  // these count as sent, and are never acknowledged
  const unsigned end = issued_ - PendingCount();
  for (unsigned i = end - requests; i < end; ++i) refused_.insert(i);
}

void Sender::Arrived(unsigned request, int link, bool trueAcks) {
  const std::string what = "P" + std::to_string(number) + "." + std::to_string(request);
  world_.Log(what + " came over link " + std::to_string(link));
  if (request >= issued_) Fail("torn", what + " was never sent");
  if (!came_.insert(request).second) Fail("doubled", what + " came twice");
  if (refused_.count(request) || given_.count(request))
    Fail("sent", what + " was refused and is on the wire");
  for (const auto& [other, row] : rows_) {
    const bool behind = other == link || world_.links[other].opened < world_.links[link].opened;
    if (behind && row.last > request) Fail("order", what + " came behind a later one");
  }
  if (world_.links[link].opened < made_) trueAcks = false;  // of those the last sender's requests had
  Row& row = rows_[link];
  for (unsigned i = row.last + 1; !row.arrivals.empty() && i < request; ++i) {
    if (!refused_.count(i) && !given_.count(i))
      Fail("lost", "P" + std::to_string(number) + "." + std::to_string(i) + " never came");
  }
  row.last = request;
  row.arrivals.push_back(world_.Now());
  const std::size_t count = row.arrivals.size(), pace = static_cast<std::size_t>(count_);
  if (trueAcks && count > pace && row.arrivals[count - 1] - row.arrivals[count - 1 - pace] < ms_ * kMs)
    Fail("pace", what + " came too soon");
}

void Sender::CheckRefused() {
  if (RefusedCount() != refused_.size()) Fail("count", "requests that were refused");
}

}  // namespace vektest
