// The part of SimSession that executes requests.
#include <utility>

#include "sim/SimRequests.h"
#include "sim/SimSession.h"

namespace VekSim {

namespace {

const Fault kNoFault{SimEvent::Request, FaultKind::None};

bool WantsUtf8(const SimRequest& request, bool otherwise) {
  const auto found = request.args.find("enc");
  return found == request.args.end() ? otherwise : found->second == "utf8";
}

/// The server's counters since it started, over all sessions.
ResultText StatsTable(const SimSeen& seen) {
  ResultText text;
  text.Table("stats", {{"DisplayText", "次數"}})
      .Fields({{"Requests", "委託查詢次數"},
               {"Batches", "委託次數"},
               {"QueryViolations", "查詢過於頻繁"},
               {"RequestViolations", "委託過於頻繁"}})
      .Row({std::to_string(seen.requestCount), std::to_string(seen.batches),
            std::to_string(seen.queryViolations), std::to_string(seen.requestViolations)});
  return text;
}

}  // namespace

bool SimSession::Arrived(SimRequest& request, int code) {
  request.session = id_;
  request.code = code;
  request.at = core_.Now();
  const bool query = code == Code::kTask;
  const bool inRate = (query ? queryWatch_ : requestWatch_).Arrive(request.at);
  core_.record.Update([&](SimSeen& seen) {
    ++seen.requestCount;
    if (core_.config.keepPackets) seen.requests.push_back(request);
    if (!inRate) ++(query ? seen.queryViolations : seen.requestViolations);
  });
  core_.Enter("saw " + request.workId + " " + request.verb);
  return inRate;
}

SimRejection SimSession::Refusal(const Fault& fault, bool inRate, const SimPlay& play) const {
  if (fault.Refuses()) return {static_cast<int>(SimReject::Refused), fault.text};
  if (play.rejection) return play.rejection;
  return core_.config.refuseFast && !inRate ? SimReject::TooFast : SimReject::None;
}

SimSession::Done SimSession::Carry(SimRequest& request, int code, const Fault& fault) {
  Done done;
  const bool inRate = Arrived(request, code);
  done.play = core_.player.Meet(request);
  done.play.rejection = Refusal(fault, inRate, done.play);
  const bool trades = code == Code::kAck ||
                      (SimMarket::IsTrade(request.verb) && core_.config.answers.count(request.verb) == 0);
  if (trades || done.play.rejection) done.trade = Trade(request, done.play);
  done.text = code == Code::kTask ? ResultOf(request, done) : AckOf(request, done.trade);
  if (core_.Noting()) {
    const SimRejection& no = done.trade.rejection;
    const char* const outcome = no ? "rejected" : trades ? "accepted" : "answered";
    core_.Note({{},
                id_,
                "request",
                request.workId,
                request.verb,
                outcome,
                no.code,
                done.trade.order.number,
                inRate ? "" : "too fast"});
  }
  return done;
}

void SimSession::OnTask(SimRequest request) {
  const Fault fault = core_.faults.Take(SimEvent::Request);
  const std::vector<Done> done{Carry(request, Code::kTask, fault)};
  const ByteOrder order = core_.config.order;
  const SimPlay& play = done.front().play;
  auto packets = TextPackets(Code::kTask, TaskBody(request.workId, done.front().text, order), order);
  core_.player.PlayFirst(play, id_);
  if (play.late.count() > 0) {
    SendLate(play, std::move(packets));
  } else {
    for (int i = 0; i < play.copies; ++i) Answer(packets, fault);
  }
  Follow(done);
}

std::string SimSession::ResultOf(const SimRequest& request, Done& done) {
  const bool utf8 = WantsUtf8(request, core_.config.utf8);
  if (done.trade.rejection) return Encoded(ErrorTable(done.trade.rejection), utf8);
  const auto own = core_.config.answers.find(request.verb);
  if (own != core_.config.answers.end()) return own->second;
  if (request.verb == "stats") return Encoded(core_.record.Read(StatsTable), utf8);
  if (!SimMarket::IsTrade(request.verb)) return Encoded(core_.market.Query(*login_, request), utf8);
  return Encoded(OrderTable(done.trade.order), utf8);
}

void SimSession::OnBatch(const std::string& text) {
  const Fault fault = core_.faults.Take(SimEvent::Request);
  std::vector<Done> all;
  core_.record.Update([](SimSeen& seen) { ++seen.batches; });
  for (SimRequest& request : ParseBatch(text)) all.push_back(Carry(request, Code::kAck, fault));
  for (const Done& done : all) core_.player.PlayFirst(done.play, id_);
  if (core_.config.autoAck) Acknowledge(all, fault);
  Follow(all);
}

// One message for all normal acknowledgements, and one for each other line.
void SimSession::Acknowledge(const std::vector<Done>& all, const Fault& fault) {
  const auto packets = [this](const std::string& lines) {
    return TextPackets(Code::kAck, lines, core_.config.order);
  };
  std::string lines;
  bool any = all.empty();
  for (const Done& done : all) {
    if (done.play.copies == 0 || done.play.late.count() > 0) continue;
    // Line feeds only between the lines: clients count the text after the last one as another line.
    lines += (std::exchange(any, true) ? "\n" : "") + done.text;
  }
  if (any) Answer(packets(lines), fault);
  for (const Done& done : all) {
    if (done.play.late.count() > 0) SendLate(done.play, packets(done.text));
    if (done.play.copies == 2) Answer(packets(done.text), kNoFault);
  }
}

void SimSession::SendLate(const SimPlay& play, std::vector<std::string> packets) {
  core_.player.At(play.met + play.late, [self = shared_from_this(), packets = std::move(packets)] {
    self->core_.Note({{}, self->id_, "played", {}, {}, {}, 0, {}, "late answer"});
    if (self->link_->Open()) self->Answer(packets, kNoFault);
  });
}

std::string SimSession::AckOf(const SimRequest& request, const SimTrade& trade) {
  if (trade.Accepted()) return request.workId + "\x01" + "accepted\x01" + trade.order.number;
  return request.workId + "\x01rejected\x01" + ToBig5(trade.rejection.text) + "\x01" +
         std::to_string(trade.rejection.code);
}

SimTrade SimSession::Trade(const SimRequest& request, const SimPlay& play) {
  if (play.rejection) return {play.rejection, {}, {}};
  SimTrade trade = core_.market.Trade(*login_, request, play.hold);
  if (trade.Accepted()) core_.Enter("did " + request.workId + " " + trade.order.number);
  if (trade.Accepted() && request.verb == "new") {
    core_.record.Update([&](SimSeen& seen) { seen.orders.push_back(trade.order); });
  }
  return trade;
}

void SimSession::Follow(const std::vector<Done>& all) {
  for (const Done& done : all) core_.Report(done.trade);
  for (const Done& done : all) core_.player.PlayLater(done.play, id_, done.trade.order.number);
}

std::string SimSession::SignOnText() const {
  ResultText text;
  if (!core_.config.rateTable.empty()) {
    text.Table(core_.config.rateTable, {{"DisplayText", "登入結果"}})
        .Fields({{"UserID", "使用者代號"}, {"QueryRate", "查詢次數"}, {"QueryRateMS", "查詢間隔"}})
        .Row({login_->user, std::to_string(core_.config.queryRate.count),
              std::to_string(core_.config.queryRate.ms)});
  }
  core_.market.AddAccounts(text, *login_);
  return Encoded(text, core_.config.utf8);
}

}  // namespace VekSim
