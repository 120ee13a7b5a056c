// The text of a result as the application sees it.
#pragma once

#include <string>

#include "result/ByteMarks.h"
#include "result/ResultPacket.h"
#include "result/TWork.h"

namespace VekApi {

// Copies a packet's text to an empty one, in code page 950 when the packet says that it is UTF-8, and tells
// what marks it has at the most. False when the work stopped.
bool TakeText(const TResultPacket& packet, std::string& text, TMarkCounts& counts, TWork& work);

}  // namespace VekApi
