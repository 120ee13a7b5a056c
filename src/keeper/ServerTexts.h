// Finds the texts in a server's packets, and their encoding. A result may say in its first line that it is
// UTF-8; all else is in code page 950. For display.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

#include "protocol/Packet.h"
#include "protocol/RequestPrefix.h"
#include "result/EncodingLine.h"

namespace VekApi {

struct TServerText {
  std::string_view workId;  // of a result that begins in this packet
  std::string_view text;    // as far as it is in this packet
  bool isUtf8 = false;
};

// Takes all packets of a link in their order, since the pieces of a message have one encoding.
class TServerTexts {
 public:
  // Views into the packet; empty for a packet without text.
  TServerText Of(std::string_view packet) {
    const int code = PkCode(packet.data());
    if (code == PkConnect) inMessage_ = false;
    if (code < PkBigPart) return {};
    packet.remove_prefix(std::min<std::size_t>(packet.size(), kPrefixBytes));
    const bool starts = !std::exchange(inMessage_, code == PkBigPart);
    if (!starts) return {{}, packet, isUtf8_};
    const TServerText result = ReadResult(packet);
    isUtf8_ = code <= PkTaskResult && result.isUtf8;
    return isUtf8_ || code == PkTaskResult ? result : TServerText{{}, packet};
  }

 private:
  // The byte order of the length does not matter.
  static TServerText ReadResult(std::string_view body) {
    const std::size_t idEnd = body.empty() ? 0 : 1 + static_cast<unsigned char>(body[0]);
    if (body.size() < idEnd + 2) return {{}, body};
    const std::size_t lengthBytes = body.substr(idEnd, 2) == "\xFF\xFF" ? 6 : 2;
    TServerText result{body.substr(1, idEnd - 1), body.substr(std::min(body.size(), idEnd + lengthBytes))};
    const std::string_view line = result.text.substr(0, std::min(result.text.find('\n'), result.text.size()));
    result.isUtf8 = IsEncodingLine(line) && SaysUtf(line);
    return result;
  }

  bool inMessage_ = false;  // between the pieces of a message
  bool isUtf8_ = false;
};

}  // namespace VekApi
