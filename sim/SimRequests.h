#pragma once

#include <string_view>
#include <vector>

#include "sim/SimSeen.h"

namespace VekSim {

/// One two-line request: "WORKID VERB" and "key=value" arguments separated by 0x01 or blanks. A value may
/// hold neither; the second line may be missing. Session, code and time are the caller's to fill in.
SimRequest ParseRequest(std::string_view text);

/// The requests of a batch: pairs of lines joined by line feeds. A last line without a partner is a request
/// too; a line feed behind the last pair adds none.
std::vector<SimRequest> ParseBatch(std::string_view text);

}  // namespace VekSim
