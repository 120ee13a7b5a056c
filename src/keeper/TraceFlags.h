#pragma once

#include <cstdint>

#include "session/TPacketTap.h"
#include "vekapi/VekSessionC.h"

namespace VekApi {

// The vsg_... flags of a vse_Trace event that shows a packet.
inline std::uint32_t TraceFlags(const TTapped& tapped) {
  std::uint32_t flags = vsg_Packet;
  if (!tapped.fromServer) flags |= vsg_Outbound;
  if (tapped.order == ERecordOrder::Little) flags |= vsg_LowFirst;
  if (tapped.order == ERecordOrder::Big) flags |= vsg_HighFirst;
  return flags;
}

}  // namespace VekApi
