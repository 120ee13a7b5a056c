#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "sim/SimConfig.h"

namespace VekSim {

/// The program's command line options.
struct VeksimOptions {
  SimConfig config;
  std::vector<Fault> faults;
  std::string portFile;
  std::string ledgerFile;
  std::string scriptFile;
  std::string replayFile;
  bool replayFast = false;            ///< without the recorded pauses
  std::optional<std::uint32_t> seed;  ///< instead of the script's
  std::string logForm = "text";       ///< or "json"
  bool sharedMemory = false;          ///< also run a gateway for shared-memory clients
  bool crashAtEof = false;            ///< when the standard input ends
  bool once = false;                  ///< exit when the first link has ended
  bool quiet = false;                 ///< no log
  int reportsPerSecond = 0;           ///< to all sessions signed on
};

/// Parses the command line. Returns false if the program must exit at once with `exitCode`: help was
/// requested (0), or an option is invalid and was reported on stderr.
bool ReadOptions(int argc, char** argv, VeksimOptions& options, int& exitCode);

}  // namespace VekSim
