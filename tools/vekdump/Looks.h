// What bytes look like, where nothing says what they are.
#pragma once

#include <string_view>

#include "protocol/ConnectRequest.h"

namespace VekDump {

// Whether a code is one that both sides know.
bool IsKnownCode(int code);

// Whether the bytes are whole packets of known codes, one behind the other.
bool LooksLikePackets(std::string_view bytes);

// What else the start of a stream looks like, such as "an HTTP answer"; empty when nothing comes to mind.
std::string_view OtherProtocol(std::string_view start);

}  // namespace VekDump
