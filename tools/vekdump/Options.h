// The command line of vekdump.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vekdump/Outputs.h"

namespace VekDump {

struct Options {
  std::string file;  // "-": the standard input; empty: a live link
  std::string address = "127.0.0.1";
  std::uint16_t listen = 0;
  std::string server;  // HOST:PORT
  std::string portFile;
  std::uint16_t serverPort = 0;  // in captures; 0: detected
  bool json = false;
  bool stats = false;
  std::string chart;
  std::string record;
  Shown shown;
  std::vector<std::uint32_t> links;  // empty: all
  std::vector<int> codes;            // likewise
};

// False if the program must exit with `exitCode`; everything has been printed then.
bool ReadOptions(int argc, char** argv, Options& options, int& exitCode);

}  // namespace VekDump
