#pragma once

#include <string_view>
#include <vector>

#include "sim/SimSeen.h"

namespace VekSim {

/// One two-line request: "WORKID VERB" and "key=value" arguments separated by 0x01 or blanks. A value cannot
/// contain either; the second line may be missing. The caller fills in session, code and time.
SimRequest ParseRequest(std::string_view text);

/// The requests of a batch: pairs of lines joined by line feeds. A last line without a partner is a request
/// too; a trailing line feed adds none.
std::vector<SimRequest> ParseBatch(std::string_view text);

}  // namespace VekSim
