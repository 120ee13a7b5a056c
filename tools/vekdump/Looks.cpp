#include "vekdump/Looks.h"

#include "protocol/Packet.h"

namespace VekDump {

bool IsKnownCode(int code) {
  return (code >= VekApi::PkConnect && code <= VekApi::PkBigPart) ||
         (code >= VekApi::PkTaskResult && code <= VekApi::PkRequestAck2);
}

bool LooksLikePackets(std::string_view bytes) {
  while (bytes.size() >= VekApi::kHeadBytes) {
    const int length = VekApi::PkLength(bytes.data());
    if (length < VekApi::kHeadBytes || !IsKnownCode(VekApi::PkCode(bytes.data()))) return false;
    if (static_cast<std::size_t>(length) > bytes.size()) return false;
    bytes.remove_prefix(static_cast<std::size_t>(length));
    if (bytes.empty()) return true;
  }
  return false;
}

std::string_view OtherProtocol(std::string_view start) {
  constexpr std::string_view kRequests[] = {"GET ", "POST ", "PUT ", "HEAD ", "OPTIONS ", "CONNECT "};
  for (const std::string_view request : kRequests) {
    if (start.starts_with(request)) return "an HTTP request";
  }
  if (start.starts_with("HTTP/")) return "an HTTP answer";
  if (start.starts_with("SSH-")) return "SSH";
  if (start.starts_with("\x16\x03")) return "TLS";
  return {};
}

}  // namespace VekDump
