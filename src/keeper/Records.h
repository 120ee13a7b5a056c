// Converts events to records of a recording (protocol/Recording.h).
#pragma once

#include <string>

#include "vekapi/VekSessionC.h"

namespace VekApi {

// Head and content; empty if the event has nothing worth recording. Throws std::bad_alloc.
std::string RecordOf(const CVekEvent& event);

}  // namespace VekApi
