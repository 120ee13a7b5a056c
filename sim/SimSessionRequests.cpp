// The part of SimSession that executes requests.
#include <utility>

#include "sim/SimRequests.h"
#include "sim/SimSession.h"

namespace VekSim {

namespace {

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
  core_.Record("saw " + request.workId + " " + request.verb);
  core_.Log("#" + std::to_string(id_) + " " + request.workId + " " + request.verb +
            (inRate ? "" : " (too fast)"));
  return inRate;
}

std::string SimSession::Refusal(const Fault& fault, bool inRate) const {
  if (fault.Refuses()) return fault.text.empty() ? "系統拒絕" : fault.text;
  return core_.config.refuseFast && !inRate ? "傳送過於頻繁" : "";
}

void SimSession::OnTask(SimRequest request) {
  const bool inRate = Arrived(request, Code::kTask);
  const Fault fault = core_.faults.Take(SimEvent::Request);
  std::vector<SimTrade> trades;
  const std::string text = ResultOf(request, Refusal(fault, inRate), trades);
  const ByteOrder order = core_.config.order;
  Answer(TextPackets(Code::kTask, TaskBody(request.workId, text, order), order), fault);
  Report(trades);
}

std::string SimSession::ResultOf(const SimRequest& request, const std::string& refusal,
                                 std::vector<SimTrade>& trades) {
  const bool utf8 = WantsUtf8(request, core_.config.utf8);
  if (!refusal.empty()) return Encoded(ErrorTable("REFUSED", refusal), utf8);
  const auto own = core_.config.answers.find(request.verb);
  if (own != core_.config.answers.end()) return own->second;
  if (request.verb == "stats") return Encoded(core_.record.Read(StatsTable), utf8);
  if (!SimMarket::IsTrade(request.verb)) return Encoded(core_.market.Query(*login_, request), utf8);
  trades.push_back(Trade(request, refusal));
  const SimTrade& trade = trades.back();
  return Encoded(trade.accepted ? OrderTable(trade.order) : ErrorTable("ORDER", trade.reason), utf8);
}

void SimSession::OnBatch(const std::string& text) {
  const Fault fault = core_.faults.Take(SimEvent::Request);
  std::vector<SimTrade> trades;
  std::string acks;
  core_.record.Update([](SimSeen& seen) { ++seen.batches; });
  for (SimRequest& request : ParseBatch(text)) {
    const bool inRate = Arrived(request, Code::kAck);
    // Line feeds only between the lines: clients count the text after the last one as another line.
    if (!acks.empty()) acks += '\n';
    acks += AckOf(request, Refusal(fault, inRate), trades);
  }
  if (core_.config.autoAck) Answer(TextPackets(Code::kAck, acks, core_.config.order), fault);
  Report(trades);
}

std::string SimSession::AckOf(const SimRequest& request, const std::string& refusal,
                              std::vector<SimTrade>& trades) {
  trades.push_back(Trade(request, refusal));
  const SimTrade& trade = trades.back();
  if (!trade.accepted) return request.workId + "\x01rejected\x01" + ToBig5(trade.reason);
  return request.workId + "\x01" + "accepted\x01" + trade.order.number;
}

SimTrade SimSession::Trade(const SimRequest& request, const std::string& refusal) {
  if (!refusal.empty()) return {false, refusal, {}, {}};
  SimTrade trade = core_.market.Trade(*login_, request);
  if (trade.accepted) core_.Record("did " + request.workId + " " + trade.order.number);
  if (trade.accepted && request.verb == "new") {
    core_.record.Update([&](SimSeen& seen) { seen.orders.push_back(trade.order); });
  }
  return trade;
}

void SimSession::Report(const std::vector<SimTrade>& trades) {
  for (const SimTrade& trade : trades) {
    for (const auto& [id, session] : core_.sessions) {
      if (!session->login_ || !session->login_->Sees(trade.order.account)) continue;
      if (session->link_->Faults().silent) continue;
      for (const std::string& report : trade.reports) session->SendText(Code::kReport, ToBig5(report));
    }
  }
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
