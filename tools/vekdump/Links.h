// The events of connections, from a recording, a capture or a live link.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "protocol/Recording.h"

namespace VekDump {

enum class Side { Client, Server };

inline Side Other(Side side) {
  return side == Side::Client ? Side::Server : Side::Client;
}

struct Moment {
  std::int64_t ns = 0;      // of a monotonic clock if there is one: for differences
  std::int64_t wallNs = 0;  // since 1970, UTC
};

// Links are numbered from 1; a new connection has a new number. Bytes and texts are valid during the call
// only.
class LinkEvents {
 public:
  virtual ~LinkEvents() = default;

  virtual void OnLinkUp(std::uint32_t link, Moment at, std::string_view addresses) = 0;

  // Bytes of a stream as sent, in portions of any size. `fromStart` is false for a link whose first bytes
  // were not seen.
  virtual void OnBytes(std::uint32_t link, Moment at, Side from, std::string_view bytes, bool fromStart) = 0;

  // So many bytes of the stream are missing.
  virtual void OnMissing(std::uint32_t link, Moment at, Side from, std::uint64_t count) = 0;

  // A whole packet, descrambled unless the order is unknown.
  virtual void OnPacket(std::uint32_t link, Moment at, Side from, VekApi::ERecordOrder order,
                        std::string_view packet) = 0;

  virtual void OnState(std::uint32_t link, Moment at, std::int32_t state, std::string_view reason) = 0;
  virtual void OnNote(std::uint32_t link, Moment at, std::string_view text) = 0;
  virtual void OnLinkEnd(std::uint32_t link, Moment at, std::string_view reason) = 0;
};

}  // namespace VekDump
