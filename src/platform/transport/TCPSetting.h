#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace Dova {

// The parameters of a TCP messenger: "HOST:PORT [options]". HOST is a name, an IPv4 address or an IPv6
// address in brackets; PORT 1 to 65535. Options are separated by blanks, in any order; those with a value may
// occur only once each:
//   n        disables Nagle's algorithm
//   M0       raw byte stream, the only link mode
//   ct=MS    time-out for look-up and connecting, all addresses together (1 to 3600000)
//   sq=BYTES limit of the send queue, and so the longest single send (1 to 2147483647)
//   mm=BYTES longest message text that may be received in pieces (4096 to 1073741824)
//   spin=US  how long the reader polls before it blocks (0 to 1000000)
struct TTCPSetting {
  std::string host;
  std::uint16_t port = 0;
  bool noDelay = false;
  int connectTimeoutMs = 20'000;
  std::size_t sendQueueBytes = std::size_t{8} << 20;
  std::size_t maxMessageBytes = std::size_t{64} << 20;
  int spinUs = 0;

  // Empty if any part of the text is invalid; `refused` (may be null) then receives the invalid word, or an
  // empty text if the address is missing.
  static std::optional<TTCPSetting> Parse(const std::string& text, std::string* refused = nullptr);
};

}  // namespace Dova
