#include <fmt/core.h>

#include "vekdump/Captures.h"
#include "vekdump/Numbers.h"

namespace VekDump {
namespace {

constexpr std::uint32_t kMicroseconds = 0xA1B2C3D4;
constexpr std::uint32_t kNanoseconds = 0xA1B23C4D;
constexpr std::size_t kFileHeadRest = 20;
constexpr std::size_t kRecordHead = 16;
constexpr std::uint32_t kMostFrame = 262144;  // tcpdump's own limit

bool IsMagic(std::uint32_t number) {
  return number == kMicroseconds || number == kNanoseconds;
}

}  // namespace

bool IsPcap(std::string_view magic) {
  return IsMagic(U32(magic, 0, vek_LittleEndian)) || IsMagic(U32(magic, 0, vek_BigEndian));
}

void ReadPcap(Input& input, std::string_view magic, const OnFrame& onFrame) {
  const EVekEndian order = IsMagic(U32(magic, 0, vek_LittleEndian)) ? vek_LittleEndian : vek_BigEndian;
  const std::int64_t unitNs = U32(magic, 0, order) == kNanoseconds ? 1 : 1000;
  const std::string head = input.Take(kFileHeadRest, "the capture's head");
  const std::uint32_t linkType = U32(head, 16, order) & 0xFFFF;
  char record[kRecordHead];
  for (std::uint64_t start = input.Offset(); input.ReadOrEnd(record, sizeof record, "a frame's head");
       start = input.Offset()) {
    const std::string_view fields(record, sizeof record);
    const std::uint32_t length = U32(fields, 8, order);
    if (length > kMostFrame)
      input.Fail(start, fmt::format("a frame of {} bytes; more than {} cannot be", length, kMostFrame));
    const std::string bytes = input.Take(length, "a frame");
    const std::int64_t seconds = U32(fields, 0, order);
    onFrame({seconds * 1'000'000'000 + U32(fields, 4, order) * unitNs, linkType, bytes});
  }
}

}  // namespace VekDump
