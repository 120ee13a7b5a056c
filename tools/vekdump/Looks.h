// Guesses what unknown bytes are.
#pragma once

#include <string_view>

#include "protocol/ConnectRequest.h"

namespace VekDump {

// Whether both sides know the code.
bool IsKnownCode(int code);

// Whether the bytes are whole packets of known codes, one after another.
bool LooksLikePackets(std::string_view bytes);

// What else the start of a stream looks like, such as "an HTTP answer"; empty if unknown.
std::string_view OtherProtocol(std::string_view start);

}  // namespace VekDump
