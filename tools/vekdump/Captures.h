// Capture files: pcap and pcapng, in either byte order.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "vekdump/Input.h"

namespace VekDump {

// What a capture says of one frame; the bytes are lent for the call.
struct Frame {
  std::int64_t wallNs;
  std::uint32_t linkType;  // of tcpdump's list
  std::string_view bytes;  // as far as they were captured
};
using OnFrame = std::function<void(const Frame&)>;

// Both read on behind the file's first four bytes, and throw BadInput.
void ReadPcap(Input& input, std::string_view magic, const OnFrame& onFrame);
void ReadPcapng(Input& input, const OnFrame& onFrame);

// Whether a file that starts with these four bytes is one of either kind.
bool IsPcap(std::string_view magic);
bool IsPcapng(std::string_view magic);

}  // namespace VekDump
