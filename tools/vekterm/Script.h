// Executes lines of standard input while reporting the session's events.
#pragma once

#include "vekterm/Client.h"
#include "vekterm/ExitCodes.h"
#include "vekterm/Shell.h"

namespace VekTerm {

// Until the end of input, "quit", or the first line that fails, unless `keepGoing`.
EExit RunScript(Shell& shell, Client& client, Output& output, bool keepGoing);

}  // namespace VekTerm
