#include "sim/SimRecorder.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace VekSim {

namespace {

constexpr std::string_view kFileStart = "VEKREC1\n";
enum Kind : char { kPacket, kLinkUp, kLinkEnd, kState, kNote };

void AddLow(std::string& bytes, std::uint64_t number, int count) {
  for (int i = 0; i < count; ++i) bytes += static_cast<char>(number >> 8 * i & 0xFF);
}

template <class Clock>
std::uint64_t Nanoseconds() {
  return static_cast<std::uint64_t>(std::chrono::nanoseconds(Clock::now().time_since_epoch()).count());
}

}  // namespace

SimRecorder::~SimRecorder() {
  Close();
}

void SimRecorder::Close() {
  if (file_ != nullptr) std::fclose(std::exchange(file_, nullptr));
}

void SimRecorder::Open(const std::string& path, ByteOrder order) {
  path_ = path;
  order_ = order;
  file_ = std::fopen(path.c_str(), "wb");
  if (file_ == nullptr || std::fwrite(kFileStart.data(), kFileStart.size(), 1, file_) != 1 ||
      std::fflush(file_) != 0) {
    throw std::runtime_error("cannot write " + path + ": " + std::strerror(errno));
  }
}

void SimRecorder::LinkUp(int link, std::string_view addresses) {
  Write(link, {kLinkUp, false, order_}, addresses);
}

void SimRecorder::LinkEnd(int link) {
  Write(link, {kLinkEnd, false, order_}, "closed");
}

void SimRecorder::FromClient(int link, std::string_view packet) {
  const int code = CodeOf(packet);
  // A connect request is always low byte first.
  const ByteOrder order = code == Code::kConnect ? ByteOrder::Little : order_;
  Write(link, {kPacket, false, order}, code == Code::kSession ? Masked(packet) : packet);
}

void SimRecorder::FromServer(int link, std::string_view bytes) {
  if (bytes.size() >= kHeadSize && LengthOf(bytes) == bytes.size())
    return Write(link, {kPacket, true, order_}, bytes);
  Write(link, {kNote, true, order_}, std::to_string(bytes.size()) + " bytes that are no packet");
}

void SimRecorder::Write(int link, const Head& head, std::string_view content) {
  if (file_ == nullptr) return;
  std::string record;
  AddLow(record, content.size(), 4);
  record += {head.kind, head.fromServer ? '\1' : '\0', head.order == ByteOrder::Big ? '\1' : '\0', '\0'};
  AddLow(record, static_cast<std::uint64_t>(link), 4);
  AddLow(record, 0, 4);
  AddLow(record, Nanoseconds<std::chrono::steady_clock>(), 8);
  AddLow(record, Nanoseconds<std::chrono::system_clock>(), 8);
  record += content;
  if (std::fwrite(record.data(), record.size(), 1, file_) == 1 && std::fflush(file_) == 0) return;
  const std::string why = std::strerror(errno);
  Close();
  throw std::runtime_error("cannot write " + path_ + ": " + why);
}

}  // namespace VekSim
