#pragma once

#include <string>

#include "sim/SimConfig.h"

namespace VekSim {

/// What the program is told on its command line.
struct VeksimOptions {
  SimConfig config;
  std::vector<Fault> faults;
  std::string portFile;
  bool sharedMemory = false;  ///< a gateway for shared-memory clients beside it
  bool once = false;          ///< end when the first link has ended
  bool quiet = false;         ///< no log
  int reportsPerSecond = 0;   ///< to whoever is signed on
};

/// Reads the command line. False when the program is to end at once with `exitCode`: help was asked for (0),
/// or something on it is wrong and has been said on stderr.
bool ReadOptions(int argc, char** argv, VeksimOptions& options, int& exitCode);

}  // namespace VekSim
