#include <map>
#include <stdexcept>

#include "sim/SimReplay.h"
#include "sim/SimWire.h"

namespace VekSim {

namespace {

constexpr std::string_view kRecordingStart = "VEKREC1\n";
constexpr std::size_t kRecordHead = 32;
constexpr std::size_t kMostContent = 65535;
constexpr int kPacketRecord = 0, kLastRecordKind = 4;

std::uint64_t Low(std::string_view bytes, std::size_t at, std::size_t size) {
  std::uint64_t value = 0;
  for (std::size_t i = size; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
  return value;
}

/// Why a record is invalid; null if it is valid.
const char* RecordFault(std::string_view head) {
  if (Low(head, 0, 4) > kMostContent) return "a record is too long";
  if (head[4] < 0 || head[4] > kLastRecordKind) return "no such kind of record";
  if (Low(head, 5, 1) > 1) return "neither client nor server sent this";
  if (Low(head, 6, 1) > 2 || head[7] != 0) return "not a record";
  return nullptr;
}

}  // namespace

SimRecording ReadRecording(std::string_view bytes, const std::string& file) {
  const auto fail = [&](std::size_t at, const std::string& words) {
    throw std::runtime_error(file + ": byte " + std::to_string(at) + ": " + words);
  };
  if (!bytes.starts_with(kRecordingStart)) fail(0, "not a recording: expected \"VEKREC1\"");
  SimRecording recording;
  std::map<std::uint64_t, std::size_t> places;
  std::size_t at = kRecordingStart.size();
  for (; bytes.size() - at >= kRecordHead;) {
    const std::string_view head = bytes.substr(at, kRecordHead);
    if (const char* const fault = RecordFault(head)) fail(at, fault);
    const std::size_t length = Low(head, 0, 4);
    if (bytes.size() - at - kRecordHead < length) break;
    const std::string_view content = bytes.substr(at + kRecordHead, length);
    if (head[4] == kPacketRecord) {
      if (length < kHeadSize || LengthOf(content) != length)
        fail(at, "a packet has another length than it says");
      const auto [place, fresh] = places.emplace(Low(head, 8, 4), recording.links.size());
      if (fresh) recording.links.emplace_back();
      recording.links[place->second].push_back(
          {head[5] == 1, std::string(content),
           std::chrono::nanoseconds(static_cast<std::int64_t>(Low(head, 16, 8)))});
    }
    at += kRecordHead + length;
  }
  recording.cut = at != bytes.size();
  return recording;
}

}  // namespace VekSim
