// A recording or a capture of arbitrary bytes, shown in every form. The first two bits of the first byte
// choose its start: none, or that of a recording, a pcap or a pcapng file; the next two whether a port is
// given, and whether bytes are shown, which takes most of the time.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <sstream>
#include <string>

#include "vekdump/Chart.h"
#include "vekdump/Dump.h"
#include "vekdump/Input.h"
#include "vekdump/Outputs.h"
#include "vekdump/RecordingFile.h"
#include "vekdump/Stats.h"

namespace {

std::string Start(unsigned which) {
  switch (which & 3) {
    case 1:
      return "VEKREC1\n";
    case 2:
      return std::string("\xD4\xC3\xB2\xA1\2\0\4\0\0\0\0\0\0\0\0\0\0\0\4\0", 20) + std::string("\1\0\0\0", 4);
    case 3:
      return std::string(
          "\x0A\x0D\x0D\x0A\x1C\0\0\0\x4D\x3C\x2B\x1A\1\0\0\0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x1C\0\0\0", 28);
    default:
      return {};
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  std::ostringstream out;
  const bool hex = (data[0] & 8) != 0;
  VekDump::Filter outputs({}, {});
  outputs.Add(std::make_unique<VekDump::TextOutput>(out, VekDump::Shown{0, hex}));
  outputs.Add(std::make_unique<VekDump::JsonOutput>(out, hex));
  outputs.Add(std::make_unique<VekDump::Stats>(out));
  outputs.Add(std::make_unique<VekDump::Chart>(out));
  outputs.Add(std::make_unique<VekDump::RecordingWriter>(out));
  std::istringstream in(Start(data[0]) + std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
  try {
    VekDump::DumpFile(in, "input", (data[0] & 4) != 0 ? 9000 : 0, outputs);
  } catch (const VekDump::BadInput&) {
  }
  return 0;
}
