#pragma once

#include <asio.hpp>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "sim/SimConfig.h"
#include "sim/SimMarket.h"
#include "sim/SimPlayer.h"
#include "sim/SimRecord.h"
#include "sim/SimRecorder.h"
#include "sim/SimUsers.h"

namespace VekSim {

class SimSession;

/// State shared by the sessions of one server. Record and faults have their own locks; the rest is used on
/// the server's thread only.
struct SimCore {
  explicit SimCore(SimConfig given);

  std::chrono::microseconds Now() const;
  std::chrono::microseconds TimeOfDay() const { return config.day.start + (Now() - began); }
  bool Noting() const { return config.log || watch; }
  /// Stamps the note and passes it on.
  void Note(SimNote note) const;
  void Enter(const std::string& line) const {
    if (config.ledger) config.ledger(line);
  }
  /// Sends the reports of a trade to all who see its account.
  void Report(const SimTrade& trade) const;

  const SimConfig config;
  SimRecord record;
  SimRecorder recorder;
  SimFaults faults;
  SimUsers users;
  SimMarket market;
  std::optional<std::chrono::microseconds> due;  ///< while something is done that had a time: that time
  const std::chrono::microseconds began;
  asio::io_context io{1};
  std::map<int, std::shared_ptr<SimSession>> sessions;
  /// Ends all links, and listens again after a while; without memory the market and the users are new.
  std::function<void(bool memory, std::chrono::milliseconds down)> restart;
  std::function<void(const SimNote&)> watch;  ///< the page; may be empty
  SimPlayer player;
};

}  // namespace VekSim
