// Exit codes of the program.
#pragma once

#include <vector>

namespace VekTerm {

enum EExit {
  kDone = 0,
  kCommandFailed = 1,
  kNoSession = 2,
  kRefused = 3,
  kFile = 4,
  kBadSetting = 11,
  kNoName = 12,
  kNoAddress = 13,
  kNoConnect = 14,
  kNoSignOn = 15,
  kNoRound = 16,
  kNoHeartbeat = 17,
  kSlow = 18,
  kInterrupted = 130,
};

struct ExitCode {
  EExit number;
  const char* meaning;
};

inline const std::vector<ExitCode> kExitCodes{
    {kDone, "every command was carried out"},
    {kCommandFailed, "a command failed; its line was told"},
    {kNoSession, "no session came up"},
    {kRefused, "the server refused user or password"},
    {kFile,
     "a file, the script or the output could not be read or written, user or password cannot be sent, or "
     "there is "
     "no terminal to ask for the password"},
    {kInterrupted, "interrupted (Ctrl-C) in a script"},
};

inline const std::vector<ExitCode> kCheckCodes{
    {kDone, "everything works"},
    {kFile, "the password could not be read"},
    {kBadSetting, "the setting is wrong"},
    {kNoName, "the name cannot be looked up"},
    {kNoAddress, "no address can be connected"},
    {kNoConnect, "the connect request is not answered: another protocol, or refused"},
    {kNoSignOn, "the sign-on fails"},
    {kNoRound, "a query is not answered"},
    {kNoHeartbeat, "the line is dead or ended when it is idle"},
    {kSlow, "everything works, but slowly"},
    {kInterrupted, "interrupted (Ctrl-C)"},
};

}  // namespace VekTerm
