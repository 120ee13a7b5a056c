// Capture files: pcap and pcapng, in either byte order.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "vekdump/Input.h"

namespace VekDump {

// One captured frame; the bytes are valid during the call only.
struct Frame {
  std::int64_t wallNs;
  std::uint32_t linkType;  // from tcpdump's list
  std::string_view bytes;  // the captured part
};
using OnFrame = std::function<void(const Frame&)>;

// Both continue after the file's first four bytes, and throw BadInput.
void ReadPcap(Input& input, std::string_view magic, const OnFrame& onFrame);
void ReadPcapng(Input& input, const OnFrame& onFrame);

// Whether a file that starts with these four bytes is of either kind.
bool IsPcap(std::string_view magic);
bool IsPcapng(std::string_view magic);

}  // namespace VekDump
