// Tries a connection step by step.
#pragma once

#include "vekterm/ExitCodes.h"
#include "vekterm/Options.h"
#include "vekterm/Output.h"

namespace VekTerm {

// Prints every step; returns the exit code of the first that fails. Throws Interrupted.
EExit RunCheck(const Options& options, const std::string& password, Output& output);

}  // namespace VekTerm
