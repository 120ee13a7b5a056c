// Every interleaving of three requests over two links: an application that submits and withdraws, a sending
// thread, a system that accepts bytes at any time, a server that acknowledges, expiring timeouts, a link that
// breaks. The ledger is the real one; everything around it is as small as possible.
#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <unordered_set>
#include <vector>

#include "keeper/TLedger.h"

namespace VekApi {

// Moves that only time or a fault could cause.
struct TLedgerPeer {
  static void RunOut(TLedger& ledger, std::uint64_t ticket) {
    ledger.due_.Put(*ledger.pool_.Find(ticket), 0);
    ledger.OnTime(0);
  }
  static EPhase PhaseOf(const TLedger& ledger, std::uint64_t ticket) {
    const TRequest* const request = ledger.pool_.Find(ticket);
    return request ? request->phase : EPhase::Free;
  }
  static std::string Lists(const TLedger& ledger) {
    std::string text;
    for (const TRequestList* list : {&ledger.urgent_, &ledger.normal_, &ledger.order_}) {
      for (const TRequest* each = list->First(); each; each = each->place.next) text += each->workId;
      text += '|';
    }
    return text;
  }
};

namespace {

constexpr int kRequests = 3, kBytes = 2, kPlaces = 2, kLinks = 2;
constexpr std::int64_t kLater = 1'000'000'000;  // a link that was full may be tried again

class World final : private TLedgerPort {
 public:
  World(const TLedgerRules& rules, bool urgentLast) : urgentLast_(urgentLast), ledger_(rules, *this, told_) {
    ledger_.BeginLink(link_);
  }
  ~World() {
    while (TEvent* const event = told_.Pop()) ledger_.OnDelivered(*event);
  }

  // The moves possible now, by number; the same in every world reached by the same moves.
  std::vector<int> Moves() const {
    std::vector<int> moves;
    const auto may = [&](bool possible, int move) {
      if (possible) moves.push_back(move);
    };
    may(submitted_ < kRequests && up_, 0);
    for (int i = 0; i < submitted_; ++i) {
      const EPhase phase = TLedgerPeer::PhaseOf(ledger_, requests_[i].ticket);
      may(phase == EPhase::Held || phase == EPhase::Going, 10 + i);
      may(phase == EPhase::Held || phase == EPhase::Out, 20 + i);
    }
    may(!inHand_ && up_ && ledger_.Held() > 0 && places_ < kPlaces, 1);
    const bool calling = inHand_ && !returned_;
    for (int take = 0; take <= kBytes; ++take)
      may(calling && alive_ && (take == 0 || taken_ == sent_), 30 + take);
    may(calling, 40);
    may(calling && alive_ && taken_ == sent_, 41);
    may(returned_, 2);
    may(alive_ && taken_ < sent_, 3);
    may(acknowledged_ < wire_.size() && taken_ >= wire_[acknowledged_].end, 4);
    may(!lines_.empty() && !ended_, 5);
    may(alive_, 6);
    may(!alive_ && !ended_, 7);
    may(ended_ && link_ < kLinks && !inHand_, 8);
    return moves;
  }

  void Do(int move) {
    if (move == 0) Submit();
    if (move == 1) inHand_ = ledger_.Take(message_, kLater);
    if (move == 2) Return();
    if (move == 3) ++taken_;
    if (move == 4) lines_.push_back(wire_[acknowledged_++].request);
    if (move == 5) Acknowledge();
    if (move == 6) alive_ = false;
    if (move == 7) EndLink();
    if (move == 8) Reconnect();
    if (move >= 10 && move < 20) ledger_.Withdraw(requests_[move - 10].ticket, vsr_Withdrawn, 0);
    if (move >= 20 && move < 30) TLedgerPeer::RunOut(ledger_, requests_[move - 20].ticket);
    if (move >= 30 && move < 40) Accept(kBytes, move - 30);
    if (move == 40) returned_ = true;  // full, or broken
    if (move == 41) {
      Accept(1, 1);
      sentAll_ = alive_ = false;
    }
    Hear();
  }

  void AtEnd() {
    for (int i = 0; i < submitted_; ++i) {
      if (!requests_[i].fate) wrong_ = "ends without a fate";
    }
  }

  const std::string& Wrong() const { return wrong_; }

  std::string Key() const {
    std::string key = std::to_string(link_) + (up_ ? "u" : "") + (alive_ ? "a" : "") + (ended_ ? "e" : "") +
                      (inHand_ ? "h" : "") + (returned_ ? "r" : "") + (sentAll_ ? "s" : "") + ' ' +
                      std::to_string(sent_) + ' ' + std::to_string(taken_) + ' ' + std::to_string(places_) +
                      ' ' + std::to_string(at_) + ' ' + std::to_string(acknowledged_) +
                      TLedgerPeer::Lists(ledger_);
    for (int i = 0; i < submitted_; ++i) {
      key += std::to_string(static_cast<int>(TLedgerPeer::PhaseOf(ledger_, requests_[i].ticket))) + ',' +
             std::to_string(requests_[i].fate) + ',' + std::to_string(requests_[i].at) + ',' +
             std::to_string(requests_[i].link) + ';';
    }
    for (const TMessage::TPart& part : message_.parts) key += inHand_ ? std::to_string(part.ticket) : "";
    for (const TSent& each : wire_) key += ' ' + std::to_string(each.request);
    for (const int line : lines_) key += '_' + std::to_string(line);
    return key;
  }

 private:
  struct TKnown {
    std::uint64_t ticket = 0;
    int fate = 0;
    long at = -1;  // position in the server's stream
    int link = 0;
  };
  struct TSent {
    int request;
    unsigned long end;
  };

  bool IsUrgent(int request) const { return urgentLast_ && request == kRequests - 1; }
  int Of(std::uint64_t ticket) const {
    for (int i = 0; i < submitted_; ++i) {
      if (requests_[i].ticket == ticket) return i;
    }
    return -1;
  }

  void Submit() {
    const std::string id = "W" + std::to_string(submitted_), text = id + " a\nb";
    TNewRequest wanted;
    wanted.code = 129;
    wanted.flags = IsUrgent(submitted_) ? vsg_Urgent : 0;
    wanted.id = id;
    wanted.text = text;
    wanted.answerMs = 1;
    TRequest* made = nullptr;
    if (ledger_.Submit(wanted, 0, made) != 0) wrong_ = "not accepted";
    requests_[submitted_++].ticket = made->ticket;
  }

  void Accept(unsigned long bytes, int takenAtOnce) {
    at_ = static_cast<long>(sent_);
    sentAll_ = true;
    for (const TMessage::TPart& part : message_.parts) {
      const int i = Of(part.ticket);
      TKnown& request = requests_[i];
      if (request.at >= 0) wrong_ = "sent twice";
      if (request.fate == vsf_NeverSent) wrong_ = "sent after NeverSent";
      for (int later = i + 1; later < submitted_; ++later) {
        if (requests_[later].at >= 0 && IsUrgent(later) == IsUrgent(i)) wrong_ = "overtaken";
      }
      request.at = at_;
      request.link = link_;
      if (bytes == kBytes) wire_.push_back({i, sent_ + bytes});
    }
    sent_ += bytes;
    taken_ += static_cast<unsigned long>(takenAtOnce);
    returned_ = true;
  }

  void Return() {
    const auto at = at_ < 0 ? TRequest::kNowhere : static_cast<std::uint64_t>(at_);
    ledger_.OnSent(message_, sentAll_, at, 0, 0);
    inHand_ = returned_ = sentAll_ = false;
    at_ = -1;
  }

  void Acknowledge() {
    line_ = lines_.front();
    lines_.pop_front();
    ledger_.OnAcks("W" + std::to_string(line_) + " ok", 0);
  }

  void EndLink() {
    ended_ = true;
    up_ = false;
    lines_.clear();
    ledger_.EndLink(vsr_LinkBroken, 0);
  }

  void Reconnect() {
    for (int i = 0; i < submitted_; ++i) {
      if (!requests_[i].fate) wrong_ = "the next link comes before a fate of the last one";
    }
    ledger_.BeginLink(static_cast<std::uint32_t>(++link_));
    up_ = alive_ = true;
    ended_ = false;
    sent_ = taken_ = 0;
    acknowledged_ = 0;
    wire_.clear();
    lines_.clear();
    places_ = 0;
  }

  void Hear() {
    while (TEvent* const event = told_.Pop()) {
      const int i = Of(event->ticket);
      if (event->kind == vse_Stray) wrong_ = "a line for nobody";
      if (event->kind == vse_Fate) HearFate(requests_[i], *event);
      if (event->kind == vse_Late && (i != line_ || requests_[i].fate != vsf_TimedOut))
        wrong_ = "late, but whose?";
      if (event->kind == vse_Fate && event->fate == vsf_Acknowledged && i != line_)
        wrong_ = "another one's line";
      ledger_.OnDelivered(*event);
    }
    for (const TKnown& request : requests_) {
      if (request.fate == vsf_NeverSent && Left(request)) wrong_ = "NeverSent, but a byte left";
    }
  }
  void HearFate(TKnown& request, const TEvent& event) {
    if (request.fate) wrong_ = "a second fate";
    request.fate = event.fate;
    if (event.fate == vsf_Unknown && !Left(request)) wrong_ = "Unknown, but nothing left";
    if (event.fate == vsf_TimedOut && request.at < 0) wrong_ = "TimedOut, but never sent";
  }
  // Of an earlier link: as recorded when it ended.
  bool Left(const TKnown& request) const {
    return request.link == link_ && request.at >= 0 && taken_ > static_cast<unsigned long>(request.at);
  }

  int TakePlace(int) override {
    if (places_ >= kPlaces) return -1;
    ++places_;
    return 0;
  }
  void GiveBack(unsigned places) override { places_ -= static_cast<int>(places); }
  void OnAcknowledged(unsigned places) override { places_ -= static_cast<int>(places); }
  std::uint64_t TakenBytes() override { return taken_; }
  void Stamp(TEvent&) override {}

  const bool urgentLast_;
  TEventQueue told_;
  TLedger ledger_;
  TMessage message_;
  TKnown requests_[kRequests];
  int submitted_ = 0;
  int link_ = 1;
  bool up_ = true, alive_ = true, ended_ = false, inHand_ = false, returned_ = false, sentAll_ = false;
  long at_ = -1;
  unsigned long sent_ = 0, taken_ = 0;
  std::vector<TSent> wire_;
  std::size_t acknowledged_ = 0;
  std::deque<int> lines_;
  int line_ = -1;
  int places_ = 0;
  std::string wrong_;
};

struct TWalk {
  std::size_t states = 0;
  std::size_t ends = 0;
  std::string wrong;
};

// Breadth first, each state once; a state is reproduced by the moves that led to it.
TWalk Walk(const TLedgerRules& rules, bool urgentLast) {
  TWalk walk;
  std::unordered_set<std::string> seen;
  std::deque<std::vector<int>> open{{}};
  const auto at = [&](const std::vector<int>& path) {
    auto world = std::make_unique<World>(rules, urgentLast);
    for (const int move : path) world->Do(move);
    return world;
  };
  while (!open.empty() && walk.wrong.empty()) {
    std::vector<int> path = std::move(open.front());
    open.pop_front();
    const auto here = at(path);
    const auto moves = here->Moves();
    if (moves.empty()) {
      ++walk.ends;
      here->AtEnd();
      walk.wrong = here->Wrong();
    }
    for (const int move : moves) {
      const auto next = at(path);
      next->Do(move);
      if (walk.wrong.empty()) walk.wrong = next->Wrong();
      if (!seen.insert(next->Key()).second) continue;
      path.push_back(move);
      open.push_back(path);
      path.pop_back();
    }
  }
  walk.states = seen.size();
  return walk;
}

TEST(Interleaving, EveryOneKeepsTheRules) {
  for (const bool urgentLast : {false, true}) {
    TLedgerRules rules;
    rules.ackRule = urgentLast ? vsa_ByWorkId : vsa_InOrder;
    const TWalk walk = Walk(rules, urgentLast);
    EXPECT_EQ(walk.wrong, "") << urgentLast;
    EXPECT_GT(walk.states, 10'000U);
    EXPECT_GT(walk.ends, 10U);
  }
}

}  // namespace
}  // namespace VekApi
