#pragma once

#include <asio.hpp>
#include <map>
#include <memory>
#include <string>

#include "sim/SimConfig.h"
#include "sim/SimMarket.h"
#include "sim/SimRecord.h"
#include "sim/SimUsers.h"

namespace VekSim {

class SimSession;

/// State shared by the sessions of one server. Record and faults have their own locks; the rest is used on
/// the server's thread only.
struct SimCore {
  explicit SimCore(SimConfig given) : config(std::move(given)), users(config) {}

  std::chrono::microseconds Now() const {
    if (config.clock) return config.clock();
    return std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::steady_clock::now().time_since_epoch());
  }
  void Log(const std::string& line) const {
    if (config.log) config.log(line);
  }

  void Record(const std::string& line) const {
    if (config.record) config.record(line);
  }

  const SimConfig config;
  SimRecord record;
  SimFaults faults;
  SimUsers users;
  SimMarket market;
  asio::io_context io{1};
  std::map<int, std::shared_ptr<SimSession>> sessions;
};

}  // namespace VekSim
