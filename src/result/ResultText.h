// The text of a result as seen by the application.
#pragma once

#include <string>

#include "result/ByteMarks.h"
#include "result/ResultPacket.h"
#include "result/TWork.h"

namespace VekApi {

// Copies a packet's text to the empty `text`, converting to code page 950 if the packet says UTF-8, and
// returns upper bounds of its marks in `counts`. False if the work stopped.
bool TakeText(const TResultPacket& packet, std::string& text, TMarkCounts& counts, TWork& work);

}  // namespace VekApi
