// The command line of vekterm.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace VekTerm {

struct Options {
  std::vector<std::string> servers;  // HOST:PORT, or KIND:PARAMETERS, with or without a leading colon
  std::string user;                  // ID or ID/ACCOUNT
  std::string passwordFile;
  std::string record;
  std::size_t rows = 100;
  int rateCount = 0, rateMs = 0;  // of orders; 0: no pacing
  unsigned patienceSeconds = 20;  // for the session to come up; for every step of a check
  unsigned answerSeconds = 10;
  bool json = false;
  bool keepGoing = false;
  bool wide = false;  // tables may be wider than the terminal

  bool check = false;
  unsigned rounds = 20;
  std::string query = "accounts";
  unsigned slowMs = 200;
};

// "COUNT/MS", or "off", which gives two zeros. False for anything else.
bool ReadRate(const std::string& text, int& count, int& ms);

// False if the program must exit with `exitCode`; everything has been printed then.
bool ReadOptions(int argc, char** argv, Options& options, int& exitCode);

}  // namespace VekTerm
