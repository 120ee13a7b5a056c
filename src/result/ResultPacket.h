// The layout of a result packet, and of the first line of its text.
#pragma once

#include <string_view>

#include "result/TWork.h"
#include "vekapi/VekTypes.h"

namespace VekApi {

struct TResultPacket {
  std::string_view workId;
  std::string_view text;  // without its encoding line; empty when there is no text with a line end
  bool isUtf8 = false;    // the encoding line says so
};

// Views into `packet`. What is announced longer than the packet is cut to the bytes that are there.
TResultPacket ReadResultPacket(std::string_view packet, EVekEndian endian, TWork& work);

}  // namespace VekApi
