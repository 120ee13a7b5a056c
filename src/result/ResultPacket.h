// The layout of a result packet, and of the first line of its text.
#pragma once

#include <string_view>

#include "result/TWork.h"
#include "vekapi/VekTypes.h"

namespace VekApi {

struct TResultPacket {
  std::string_view workId;
  std::string_view text;  // without its encoding line; empty if the text has no line end
  bool isUtf8 = false;    // according to the encoding line
};

// Returns views into `packet`. Announced lengths are cut to the bytes available.
TResultPacket ReadResultPacket(std::string_view packet, EVekEndian endian, TWork& work);

}  // namespace VekApi
