#include "simulation/SessionWorld.h"

#include <algorithm>
#include <utility>

#include "simulation/Server.h"

namespace vektest {
namespace {

constexpr unsigned kPortsEach = 10;

}  // namespace

// ---- the network: each connection is a new link, with a script of its own ----

Net::Attempt SessionWorld::Try(unsigned port, unsigned) {
  const int link = static_cast<int>(owners_.size());
  tried_[port] = link;
  owners_[link] = static_cast<int>((port - kFirstPort) / kPortsEach);
  links[link].begun = Now();
  const auto addresses = story.Server(link).addresses;
  Log("link " + std::to_string(link) + ": " + Story::Tell(story.Server(link)));
  return addresses.empty() ? Attempt{} : addresses[0];
}

std::shared_ptr<Line> SessionWorld::Accept(unsigned port) {
  return World::Accept(kFirstPort + static_cast<unsigned>(tried_[port]));
}

std::string SessionWorld::AckLine(const std::string& request) const {
  return request.substr(0, request.find(' ')) + " taken";
}

// ---- the run ----

void SessionWorld::Run() {
  slots_.resize(story.clients);
  events_.resize(story.clients);
  for (unsigned slot = 0; slot < story.clients; ++slot) Make(slot);
  running_ = story.threads;
  static const char* const polls[] = {"poll0", "poll1", "poll2"};
  for (unsigned slot = 0; slot < story.clients; ++slot) {
    if (!slots_[slot]->polled) continue;
    ++polling_;
    scheduler_.Start(polls[slot], [this, slot] { Poll(slot); });
  }
  for (unsigned thread = 0; thread < story.threads; ++thread)
    scheduler_.Start(kThreads[thread], [this, thread] { RunThread(thread); });
  for (int i = 0; running_ != 0; ++i) {
    if (i > 6000) Fail("hang", "the application's threads come to no end");
    scheduler_.Sleep(kSecond);
  }
  scheduler_.NoMoreFaults();
  scheduler_.Sleep((1 + story.seed % 32) * kSecond);
  over_ = true;
  for (int i = 0;; ++i) {
    for (Keep* const keep : slots_) {
      if (!keep->ending) End(*keep);
    }
    const bool ended =
        std::all_of(slots_.begin(), slots_.end(), [](const Keep* keep) { return keep->ended; });
    if (ended && polling_ == 0 && scheduler_.Alone()) break;
    if (i > 6000) Fail("hang", "a session or one of its threads comes to no end");
    scheduler_.Sleep(kSecond);
  }
  CheckWire();
}

void SessionWorld::Make(unsigned slot) {
  keeps_.push_back(std::make_unique<Keep>());
  Keep& keep = *keeps_.back();
  Draw draw(story.seed, 7000 + slot);
  CVekSessionConfig config;
  CVekSession_Defaults(&config, sizeof config);
  const std::string name = std::to_string(slot), app = "App" + name, first = "u" + name, second = "s" + name;
  config.apName = app.c_str(), config.id1 = first.c_str(), config.id2 = second.c_str();
  config.idPrefix = "R";
  keep.polled = draw.Chance(300);
  keep.byId = draw.Chance(400);
  config.delivery = keep.polled ? vsd_Poll : vsd_Threads;
  config.ackRule = keep.byId ? vsa_ByWorkId : vsa_InOrder;
  if (draw.Chance(800)) keep.count = story.pace, keep.ms = story.paceMs;
  config.rateCount = static_cast<int>(keep.count), config.rateMs = static_cast<int>(keep.ms);
  config.maxAttempts = draw.Chance(200) ? draw.Below(5) : UINT32_MAX;
  config.firstDelayMs = draw.From(1, 1000);
  config.maxDelayMs = draw.From(1, 10000);
  config.maxShortLinks = draw.Chance(300) ? draw.From(1, 5) : 0;
  config.connectMs = draw.From(500, 20000);
  config.signOnMs = draw.From(500, 20000);
  config.holdMs = draw.Chance(500) ? draw.From(1, 5000) : 0;
  config.answerMs = draw.Chance(500) ? draw.From(1, 3000) : 10000;
  config.silenceMs = draw.Chance(300) ? draw.From(1000, 20000) : 65000;
  config.maxHeld = draw.Chance(200) ? draw.From(1, 20) : 100000;
  config.maxEvents = draw.Chance(100) ? draw.From(16, 60) : 100000;
  config.remember = draw.Chance(300) ? draw.Below(10) : 1000;
  config.probe = draw.Chance(300) ? "probe" : nullptr;
  const unsigned flags[] = {0, 0, 0, vsc_RetryByHand, vsc_CloseOnTimeout};
  config.flags = flags[draw.Below(5)];
  config.seed = story.seed + 1;
  config.onEvent = [](CVekSession*, void* user, const CVekEvent* event) {
    const OutOfLibrary application;
    auto& self = *static_cast<Keep*>(user);
    self.world->OnTold(self, *event);
  };
  config.user = &keep;
  keep.world = this, keep.slot = slot;
  std::int32_t reason = 0;
  keep.session = CVekSession_Create(&config, &reason);
  if (!keep.session.object) Fail("made", "no session: " + std::to_string(reason));
  for (unsigned i = draw.From(1, 3); i > 0; --i) {
    const unsigned port = kFirstPort + slot * kPortsEach + i;
    CVekSession_AddEndpoint(&keep.session, ("10.0.0.1:" + std::to_string(port)).c_str());
  }
  if (draw.Chance(300)) CVekSession_AddResync(&keep.session, "resync");
  slots_[slot] = &keep;
}

void SessionWorld::RunThread(unsigned thread) {
  for (const Step& step : story.steps) {
    if (step.thread != thread || step.inside >= 0) continue;
    const Ns at = 1000 * kSecond + step.at;
    if (at > Now()) scheduler_.Sleep(at - Now());
    scheduler_.Point();
    Do(step);
  }
  --running_;
}

void SessionWorld::RunInside(Keep& keep) {
  const int event = events_[keep.slot]++;
  if (over_ || keep.inEvent.size() > 3) return;
  for (const Step& step : story.steps) {
    if (step.inside == event && step.host == keep.slot) Do(step);
    if (keep.ended) return;
  }
}

void SessionWorld::Poll(unsigned slot) {
  while (!slots_[slot]->ended) {
    Keep& keep = *slots_[slot];
    CVekEvent event{};
    event.size = sizeof event;
    if (Library([&] { return CVekSession_Next(&keep.session, 100, &event); }) == 1) OnTold(keep, event);
    if (!keep.wantsEnd || !keep.users.empty()) continue;
    keep.ending = true;
    Library([&] { return CVekSession_Close(&keep.session, 0); });
    while (CVekSession_Next(&keep.session, 0, &event) == 1) OnTold(keep, event);
    Library([&] { return CVekSession_Delete(&keep.session), 0; });
    keep.ended = true;
    CheckFates(keep, UINT32_MAX, "when its session is gone");
    if (!over_) Make(slot);
  }
  --polling_;
}

// ---- the application's calls ----

void SessionWorld::Do(const Step& step) {
  Keep& keep = *slots_[step.client];
  Draw draw(story.seed, 9000 + static_cast<std::uint64_t>(step.id));
  if (step.act == Act::Busy) return scheduler_.Sleep(step.time % (5 * kSecond));
  if (keep.ending) return;
  Log(std::string(Name(step.act)) + " " + std::to_string(step.client));
  if (step.act == Act::EndSession) return End(keep);
  const Using use(keep.users, Me());
  Use(keep, step, draw);
}

void SessionWorld::Use(Keep& keep, const Step& step, Draw& draw) {
  switch (step.act) {
    case Act::Submit:
      return Submit(keep, draw);
    case Act::SubmitMany:
      for (unsigned i = draw.From(2, 30); i > 0 && !keep.ending; --i) Submit(keep, draw);
      return;
    case Act::Withdraw:
      if (Asked* const asked = Pending(keep, draw))
        asked->taken =
            Library([&] { return CVekSession_Withdraw(&keep.session, asked->ticket); }) == 0 || asked->taken;
      return;
    case Act::Replace:
      return Submit(keep, draw, Pending(keep, draw));
    case Act::Rate:
      return SetRate(keep, draw);
    case Act::Retry:
      Library([&] { return CVekSession_RetryIn(&keep.session, draw.From(0, 2000)); });
      return;
    case Act::Open:
      return Open(keep);
    default:
      return Close(keep, step.act == Act::Drain ? draw.From(1, 5000) : 0);
  }
}

void SessionWorld::Submit(Keep& keep, Draw& draw, Asked* replaced) {
  Asked& asked = asked_.emplace_back();
  asked.keep = &keep;
  asked.number = asked_.size() - 1;
  asked.code = draw.Chance(650) ? 129 : 128;
  asked.urgent = draw.Chance(150);
  asked.made = asked.code == 128 && draw.Chance(500);
  const unsigned sizes[] = {0, 30, 300, 2000, 3900, 9000};
  const unsigned size = sizes[draw.Below(asked.code == 129 ? 5 : 6)] + draw.Below(50);
  asked.text = asked.Mark() + (asked.code == 129 ? " new\n" : " ") + std::string(size, 'x');
  if (!asked.made) {
    asked.id = (asked.code == 129 ? "P" : "R") + std::to_string(asked.number);
    asked.text = asked.id + " " + asked.text;
  }
  CVekSubmit request{};
  request.size = sizeof request;
  request.code = asked.code;
  request.mode = draw.Chance(500) ? vsm_Try : vsm_Hold;
  request.flags = asked.urgent ? vsg_Urgent : 0;
  request.workId = asked.made ? nullptr : asked.id.c_str();
  request.text = asked.text.data(), request.textLength = static_cast<std::uint32_t>(asked.text.size());
  request.holdMs = draw.Chance(300) ? draw.From(1, 3000) : 0;
  request.answerMs = draw.Chance(300) ? draw.From(1, 3000) : 0;
  request.replaces = replaced ? replaced->ticket : 0;
  request.tag = asked.number + 1;
  CVekReceipt receipt{};
  receipt.size = sizeof receipt;
  asked.begun = Tick();
  const int refused = Library([&] { return CVekSession_Submit(&keep.session, &request, &receipt); });
  asked.returned = Tick();
  asked.refused = refused;
  Log("submitted " + asked.Mark() + " " + CVekApi_Text(vst_Reason, refused, 0));
  const std::string what = asked.Mark() + " was refused and ";
  if (refused != 0 && asked.seen >= 0) Fail("sent", what + "is on the wire");
  if (refused != 0 && asked.fate != 0) Fail("fates", what + "got a fate");
  if (refused != 0) return;
  if (asked.made) asked.id = receipt.workId;
  if (asked.fate != 0 && (asked.ticket != receipt.ticket || asked.link != receipt.link))
    Fail("fates", asked.Mark() + " got the fate of another ticket or link");
  asked.ticket = receipt.ticket;
  asked.link = receipt.link;
  if (asked.fate == 0 && asked.link <= keep.over)
    Fail("order", asked.Mark() + " was taken for a link whose end was told");
  if (replaced) replaced->taken = true;
}

Asked* SessionWorld::Pending(Keep& keep, Draw& draw) {
  std::vector<Asked*> found;
  for (Asked& each : asked_) {
    if (each.keep == &keep && each.ticket != 0 && each.fate == 0) found.push_back(&each);
  }
  return found.empty() ? nullptr : found[draw.Below(static_cast<unsigned>(found.size()))];
}

void SessionWorld::SetRate(Keep& keep, Draw& draw) {
  if (keep.rateSince == UINT64_MAX) return;  // which of two concurrent calls came last would be unknown
  keep.rateSince = UINT64_MAX;
  const unsigned count = draw.Below(8), ms = draw.From(1, 3000);
  Library([&] { return CVekSession_SetRate(&keep.session, static_cast<int>(count), static_cast<int>(ms)); });
  keep.count = count, keep.ms = ms;
  keep.rateSince = Tick();
  for (auto& [link, row] : rows_) row.arrivals.clear();
}

// If another thread closes in between, the password has been cleared again.
void SessionWorld::Open(Keep& keep) {
  const Using waits(waiting_, Me());
  const std::string password = "p" + std::to_string(keep.slot);
  const InLibrary library;
  CVekSession_SetPassword(&keep.session, password.c_str());
  CVekSession_Open(&keep.session);
}

void SessionWorld::Close(Keep& keep, unsigned drainMs) {
  const Using waits(waiting_, Me());
  const InLibrary library;
  CVekSession_Close(&keep.session, drainMs);
}

void SessionWorld::End(Keep& keep) {
  if (keep.polled) keep.wantsEnd = true;
  if (keep.polled || keep.ending || !OnlyMe(keep.users)) return;
  keep.ending = true;
  {
    const Using waits(waiting_, Me());
    const InLibrary library;
    CVekSession_Delete(&keep.session);
  }
  keep.ended = true;
  Log("deleted " + std::to_string(keep.slot));
  CheckFates(keep, UINT32_MAX, "when its session is gone");
  if (!over_) Make(keep.slot);
}

// ---- events ----

void SessionWorld::OnTold(Keep& keep, const CVekEvent& event) {
  char line[300] = "";
  CVekApi_Describe(&event, line, sizeof line);
  Log("session " + std::to_string(keep.slot) + ": " + line);
  if (keep.ended) Fail("late", std::string("told after the session was deleted: ") + line);
  const auto waits = [this](Task* task) {
    return std::find(waiting_.begin(), waiting_.end(), task) != waiting_.end();
  };
  if (!keep.inEvent.empty() && keep.inEvent.back() != Me() && !waits(keep.inEvent.back()))
    Fail("overlap", std::string("two events at once: ") + line);
  const Using use(keep.inEvent, Me());
  if (event.kind == vse_State) {
    OnState(keep, event);
  } else if (event.link <= keep.over) {
    Fail("order", std::string("told behind the end of its link: ") + line);
  } else if (event.kind == vse_Fate && event.tag != 0) {
    OnFate(keep, event);
  }
  if (!keep.ending && !over_ && event.kind == vse_State) {
    const Using uses(keep.users, Me());
    Draw draw(story.seed, 11000 + asked_.size());
    const bool idle = event.state == vss_Closed || event.state == vss_Stopped || event.state == vss_Refused;
    if (idle && draw.Chance(500)) Open(keep);
    for (unsigned i = event.state == vss_Up ? draw.Below(20) : 0; i > 0 && !keep.ending; --i)
      Submit(keep, draw);
  }
  RunInside(keep);
}

void SessionWorld::OnState(Keep& keep, const CVekEvent& event) {
  const int state = event.state;
  const bool lives =
      state == vss_SigningOn || state == vss_Resyncing || state == vss_Up || state == vss_Draining;
  if (lives && event.link <= keep.over) Fail("order", "a state of a link whose end was told");
  // A refused session stays linked.
  std::uint32_t over = keep.over;
  if (state == vss_Connecting) over = event.link - 1;
  if (!lives && state != vss_Connecting) over = event.link;
  CheckFates(keep, over, "at the end of its link");
  if (state != vss_Refused) keep.over = over;
  const std::string signOn(event.text, event.textLength);
  const std::size_t at = signOn.rfind("\x03id\n");
  const bool lost =
      signOn.empty() && (state == vss_Resyncing || state == vss_Up) && !keep.links.count(event.link);
  if (at != std::string::npos) keep.links[event.link] = std::atoi(signOn.c_str() + at + 4);
  if (lost && story.chances.noMemory != 0) keep.links[event.link] = LastOf(keep.slot);
}

int SessionWorld::LastOf(unsigned slot) const {
  int last = -1;
  for (const auto& [link, owner] : owners_) {
    if (owner == static_cast<int>(slot)) last = link;
  }
  return last;
}

void SessionWorld::CheckFates(const Keep& keep, std::uint32_t link, const char* when) {
  for (const Asked& each : asked_) {
    if (each.keep == &keep && each.ticket != 0 && each.link <= link && each.fate == 0)
      Fail("fates", each.Mark() + " has no fate " + when);
  }
}

void SessionWorld::OnFate(Keep& keep, const CVekEvent& event) {
  if (event.tag > asked_.size()) Fail("fates", "a fate for nobody");
  Asked& asked = asked_[event.tag - 1];
  const std::string what = asked.Mark() + " got " + CVekApi_Text(vst_Fate, event.fate, 0);
  Reach(std::string("fate ") + CVekApi_Text(vst_Fate, event.fate, 0) + " " + std::to_string(event.reason));
  if (asked.keep != &keep) Fail("mixed", what + " from another session");
  if (asked.refused != 0) Fail("fates", what + " and was refused");
  if (asked.fate != 0) Fail("doubled", what + " and had a fate");
  if (asked.ticket != 0 && (asked.ticket != event.ticket || asked.link != event.link))
    Fail("fates", what + " with another ticket or link");
  asked.ticket = event.ticket;
  asked.link = event.link;
  asked.fate = event.fate;
  if (asked.fate == vsf_Refused || asked.fate == vsf_None || asked.fate == vsf_Left) Fail("fates", what);
  if (asked.taken && asked.fate != vsf_NeverSent) Fail("fates", what + " and was taken back");
  if (asked.fate == vsf_NeverSent && asked.seen >= 0) Fail("sent", what + " and is on the wire");
  if (asked.fate == vsf_Acknowledged || asked.fate == vsf_Answered) CheckAnswer(asked, event);
}

void SessionWorld::CheckAnswer(const Asked& asked, const CVekEvent& event) {
  const std::string text(event.text, event.textLength), id = event.workId;
  const auto link = asked.keep->links.find(event.link);
  if (link == asked.keep->links.end()) Fail("order", asked.Mark() + " was answered before the sign-on");
  const bool orders = asked.fate == vsf_Acknowledged;
  if (event.reason == vsr_NoMemory && story.chances.noMemory != 0 && text.empty() && !event.result.object)
    return;
  if (orders != (asked.code == 129)) Fail("fates", asked.Mark() + " got the fate of another code");
  const auto& said = links[link->second].expected;
  const bool sent = std::any_of(said.begin(), said.end(), [&](const LinkBook::Expected& each) {
    if (!orders) return each.line == "result " + id + " " + text;
    return Begins(each.line, "ack 129 ") &&
           ("\n" + each.line.substr(8) + "\n").find("\n" + text + "\n") != std::string::npos;
  });
  if (!sent) Fail("answer", asked.Mark() + " got what no server said: " + text.substr(0, 40));
  const auto acks = story.Server(link->second).acks;
  const bool own = asked.keep->byId || acks == ServerScript::True || acks == ServerScript::Slow;
  if (orders && own && !Begins(text, id + " ")) Fail("answer", id + " got the line of another: " + text);
  if ((own || !orders) && asked.seen != link->second) Fail("answer", id + " was answered and did not come");
}

// ---- the servers' records ----

Asked* SessionWorld::Saw(const std::string& text, int link) {
  const std::size_t at = text.find('#');
  if (at == std::string::npos) return nullptr;  // the session's own
  const std::size_t number = std::strtoul(text.c_str() + at + 1, nullptr, 10);
  if (number >= asked_.size()) Fail("torn", "a request that nobody made");
  Asked& asked = asked_[number];
  if ((asked.made ? text.substr(at) : text) != asked.text) Fail("torn", asked.Mark() + " has other bytes");
  if (asked.keep->slot != static_cast<unsigned>(owners_[link])) Fail("mixed", asked.Mark());
  if (asked.seen >= 0) Fail("doubled", asked.Mark() + " came twice");
  if (asked.Never()) Fail("sent", asked.Mark() + " was not sent, as was told, and is on the wire");
  if (asked.taken) Fail("sent", asked.Mark() + " was taken back and is on the wire");
  std::uint64_t& last = rows_[link].lastBegun[asked.urgent];
  if (asked.returned < last) Fail("order", asked.Mark() + " came behind a later one");
  last = std::max(last, asked.begun);
  asked.seen = link;
  return &asked;
}

void SessionWorld::OnPaced(const std::string& text, int link, bool trueAcks) {
  const Asked* const asked = Saw(text, link);
  if (!asked || judging_) return;
  const Keep& keep = *asked->keep;
  std::vector<Ns>& row = rows_[link].arrivals;
  if (asked->begun < keep.rateSince) return row.clear();
  row.push_back(Now());
  if ((trueAcks || keep.byId) && keep.count != 0 && row.size() > keep.count &&
      row.back() - row[row.size() - 1 - keep.count] < keep.ms * kMs)
    Fail("pace", asked->Mark() + " came too soon, " +
                     std::to_string((row.back() - row[row.size() - 1 - keep.count]) / 1000) + " us behind, " +
                     std::to_string(keep.count) + " in " + std::to_string(keep.ms) + " ms");
}

// Every byte accepted by the system counts, whether it arrived or not.
void SessionWorld::CheckWire() {
  judging_ = true;
  for (auto& [link, book] : links) {
    if (!book.line) continue;
    book.line->Thaw();
    auto& server = static_cast<Server&>(*book.line->far);
    const int code = server.TakeRest(book.line->Rest());
    CheckHalf(link, code, server.Half());
  }
  for (const Asked& each : asked_) {
    const auto link = each.keep->links.find(each.link);
    if (each.seen >= 0 && (link == each.keep->links.end() || link->second != each.seen))
      Fail("mixed", each.Mark() + " came over another link than it was taken for");
  }
}

// Checks the sent part of an incomplete message: its request must not be reported as never sent.
void SessionWorld::CheckHalf(int link, int code, const std::string& half) {
  bool owned = false;
  for (const Asked& each : asked_) {
    if (each.keep->slot != static_cast<unsigned>(owners_[link]) || each.seen >= 0) continue;
    const auto at = each.keep->links.find(each.link);
    const bool here = at != each.keep->links.end() && at->second == link;
    if (half.find(each.Mark()) != std::string::npos && each.Never())
      Fail("sent", each.Mark() + " was not sent, as was told, and a part of it left");
    if (!here || each.Never()) continue;
    owned = owned || each.code == 129;
    if (each.fate == vsf_Unknown && half.empty()) Fail("unknown", "no byte of " + each.Mark() + " left");
  }
  if (code == 129 && !owned) Fail("sent", "a part left of a request that was not sent, as was told");
}

}  // namespace vektest
