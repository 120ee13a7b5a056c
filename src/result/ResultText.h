// The text of a result as the application sees it.
#pragma once

#include <string>

#include "result/ResultPacket.h"
#include "result/TWork.h"

namespace VekApi {

// Copies a packet's text, in code page 950 when the packet says that it is UTF-8. False when the work
// stopped.
bool TakeText(const TResultPacket& packet, std::string& text, TWork& work);

}  // namespace VekApi
