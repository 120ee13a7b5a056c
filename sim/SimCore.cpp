#include "sim/SimCore.h"

#include <utility>

#include "sim/SimSession.h"

namespace VekSim {

SimCore::SimCore(SimConfig given) : config(std::move(given)), users(config), began(Now()), player(*this) {
  market.timeOfDay = [this] { return TimeOfDay(); };
}

std::chrono::microseconds SimCore::Now() const {
  if (due) return *due;
  if (config.clock) return config.clock();
  return std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now().time_since_epoch());
}

void SimCore::Note(SimNote note) const {
  if (!Noting()) return;
  note.at = Now() - began;
  if (config.log) config.log(note);
  if (watch) watch(note);
}

void SimCore::Report(const SimTrade& trade) const {
  for (const std::string& report : trade.reports) {
    if (Noting()) Note({{}, 0, "report", trade.order.workId, {}, {}, 0, trade.order.number, report});
    for (const auto& [id, session] : sessions) {
      if (!session->Login() || !session->Login()->Sees(trade.order.account)) continue;
      if (!session->Link().Faults().silent) session->SendText(Code::kReport, ToBig5(report));
    }
  }
}

}  // namespace VekSim
